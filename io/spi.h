#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace io {

/// An SPI master inside the FPGA. Its owner fills in the parameters and the words to send, then runs one
/// blocking, polled transfer at a time.
class spi_t {
  public:
    /// Bits in the transfer, 1..256. More are not refused: sixteen words are loaded, and the low 8 bits of
    /// the count less one go to the controller.
    std::uint32_t bit_count = 0;
    /// Hz; about 16.3 kHz to 33.3 MHz. Above 33.55 MHz (2^32 / 128) the computation wraps, and the rate may
    /// be accepted as a much lower one.
    std::uint32_t bit_rate = 0;
    std::uint32_t mode = 0;     ///< clock polarity and phase, 0..3
    std::uint8_t option_a = 0;  ///< control bit 5; no user sets it
    std::uint8_t option_b = 0;  ///< control bit 6; no user sets it
    /// First word first, the most significant bit of a word first on the wire.
    std::array<std::uint16_t, 16> transmit{};
    std::array<std::uint16_t, 16> receive{};

    /// Sets the controller's register block. A null address is refused with a line on standard output.
    bool set_base(std::byte* registers);

    /// Runs one transfer with the current parameters. Blocks: polls the controller at most 100 000 times.
    /// @param read  copies the received words back when true; left as they were otherwise.
    /// @return false, with a line on standard output, when no base is set, the controller is busy, a
    ///         parameter is out of range or the transfer never ends. The transmit registers may already be
    ///         loaded then.
    [[nodiscard]] bool transfer(bool read);

  private:
    std::byte* registers_ = nullptr;
};

}  // namespace io
