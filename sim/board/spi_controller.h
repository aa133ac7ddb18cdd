#pragma once

#include "sim/board/fpga.h"
#include "sim/board/spi_peer.h"

#include <unistd.h>

#include <array>
#include <cstdint>

namespace sim {

enum class spi_fault_e : std::uint32_t {
    none,
    busy_for_ever,  ///< the status says busy, whatever is asked
    never_done,     ///< transfers start and never end; nothing reaches the peer
};

/// What can be set and watched on a controller from outside. Plain, so that it can lie in shared memory.
struct spi_link_t {
    spi_fault_e fault = spi_fault_e::none;
    std::uint32_t healthy_transfers = 0;  ///< transfers that still go well before the fault shows
    std::uint32_t busy_reads = 1;         ///< status reads that find a transfer still running
    std::uint64_t transfers = 0;          ///< transfers finished so far

    /// What the controller itself holds. It outlives the processes that use it, as the chip does.
    struct controller_t {
        enum class phase_e : std::uint8_t { idle, running, done };

        phase_e phase = phase_e::idle;
        std::int32_t master = 0;  ///< the process that started the last transfer
        std::uint32_t busy_reads_left = 0;
        bool end_was_seen = true;   ///< somebody read that the last transfer was done
        unsigned set_up = 0;        ///< which of prepare, control, rate, length happened since the last start
        unsigned words_loaded = 0;  ///< transmit words written since the last start: the highest, plus one
        std::uint32_t control = 0;
        std::uint32_t rate = 0;
        std::uint32_t length = 0;
        std::array<std::uint16_t, 16> transmit{};
        std::array<std::uint16_t, 16> receive{};
    };
    controller_t controller;
};

/// The FPGA's SPI controller: takes words on its registers, clocks their bits to the peer on its wires and
/// holds what came back. Plugged in as a device of its own, or embedded in a larger one that passes accesses
/// on with offsets relative to the controller.
///
///     0x00  control (w: bits 0-1 mode, 5 and 6 options), status (r: bit 2 busy, bit 4 done)
///     0x04  rate (w)     0x08  length (w)     0x0C  command (w: 2 prepare, 1 start)
///     0x40  sixteen transmit words (w)        0x80  sixteen receive words (r)
///
/// A transfer takes its bits from the top of transmit word 0 on, and fills the receive words from the top of
/// word 0 on; the rest of the last word reads as 0.
class spi_controller_t : public device_t {
  public:
    /// Length of the register block in bytes.
    static constexpr std::uint32_t block_length = 0xC0;

    explicit spi_controller_t(spi_peer_t& peer) : spi_controller_t{peer, own_link_} {}
    /// @param link  somewhere that outlives the controller, such as a shared state file.
    spi_controller_t(spi_peer_t& peer, spi_link_t& link) : peer_{peer}, link_{link} {}

    std::uint32_t read32(std::uint32_t offset) override;
    void write32(std::uint32_t offset, std::uint32_t value) override;
    [[nodiscard]] std::vector<std::uint32_t> readable() const override;

    [[nodiscard]] spi_link_t& link() { return link_; }
    /// Lets a fault show after some more transfers that go well.
    void set_fault(spi_fault_e fault, std::uint32_t healthy_transfers = 0) {
        link_.fault = fault;
        link_.healthy_transfers = healthy_transfers;
    }

  private:
    using phase_e = spi_link_t::controller_t::phase_e;

    [[nodiscard]] bool faulty(spi_fault_e fault) const {
        return link_.fault == fault && link_.healthy_transfers == 0;
    }
    std::uint32_t status();
    void command(std::uint32_t value);
    void start();
    void exchange(unsigned bits);

    spi_peer_t& peer_;
    spi_link_t own_link_;
    spi_link_t& link_;
    spi_link_t::controller_t& held_ = link_.controller;
    const std::int32_t process_ = ::getpid();  // that put the board together; a fork of it is the same user
};

}  // namespace sim
