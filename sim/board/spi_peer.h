#pragma once

#include <array>
#include <cstdint>

namespace sim {

/// The bits of one SPI transfer in wire order: bit 0 is the first on the wire.
class spi_bits_t {
  public:
    spi_bits_t() = default;
    explicit spi_bits_t(unsigned count) : count_{count} {}

    [[nodiscard]] unsigned size() const { return count_; }
    [[nodiscard]] bool operator[](unsigned position) const {
        return ((words_[position / 64] >> (63 - position % 64)) & 1u) != 0;
    }
    void set(unsigned position, bool bit) {
        const auto mask = std::uint64_t{1} << (63 - position % 64);
        words_[position / 64] = bit ? words_[position / 64] | mask : words_[position / 64] & ~mask;
    }
    /// `count` bits from `position` on as a number, first bit most significant.
    [[nodiscard]] std::uint32_t number(unsigned position, unsigned count) const {
        std::uint32_t value = 0;
        for (unsigned i = 0; i < count; ++i) {
            value = value << 1 | ((*this)[position + i] ? 1u : 0u);
        }
        return value;
    }
    void set_number(unsigned position, unsigned count, std::uint32_t value) {
        for (unsigned i = 0; i < count; ++i) {
            set(position + i, ((value >> (count - 1 - i)) & 1u) != 0);
        }
    }

  private:
    unsigned count_ = 0;
    std::array<std::uint64_t, 4> words_{};
};

/// What hangs on the wires of a simulated SPI controller: sees the bits sent and answers with as many.
class spi_peer_t {
  public:
    spi_peer_t() = default;
    spi_peer_t(const spi_peer_t&) = delete;
    spi_peer_t& operator=(const spi_peer_t&) = delete;
    virtual ~spi_peer_t() = default;

    /// @param bit_rate  Hz, as set in the controller (rounded to its steps).
    /// @return the bits on the return line during the same clocks.
    virtual spi_bits_t exchange(const spi_bits_t& sent, std::uint32_t bit_rate, unsigned mode) = 0;
};

}  // namespace sim
