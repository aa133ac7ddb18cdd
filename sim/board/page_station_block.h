#pragma once

#include "sim/board/fpga.h"
#include "sim/board/keypad.h"
#include "sim/board/keypad_state.h"
#include "sim/board/keypad_target.h"
#include "sim/board/spi_controller.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <utility>

namespace sim {

/// What was written to a page station's registers, and what the keypad controller makes of its pins: nothing
/// to be set from outside, but it outlives the processes that use it.
struct page_station_registers_t {
    std::uint32_t control = 0;
    std::uint32_t lines = 0;
    std::optional<std::chrono::steady_clock::time_point> keypad_stopped{};
    keypad_target_t::state_t keypad;
};

/// The page station's registers, with the keypad controller on the programming lines and on SPI, and an LCD
/// on the two byte ports.
///
///     0x000 control     0x100 status (r: revision in bits 4-8, w: cleared)     0x200 inputs (r)
///     0x300 keypad lines     0x400 SPI controller     0x503 LCD commands (8 bits, w)     0x507 LCD data (w)
class page_station_block_t : public device_t {
  public:
    static constexpr std::uint32_t block_length = 0x508;

    /// Takes the bytes for the LCD.
    using lcd_t = std::function<void(bool is_data, std::uint8_t byte)>;

    /// State and registers must outlive the block.
    page_station_block_t(page_station_state_t& state, page_station_registers_t& registers, lcd_t lcd)
        : state_{state}, registers_{registers}, lcd_{std::move(lcd)} {}

    std::uint32_t read32(std::uint32_t offset) override;
    void write32(std::uint32_t offset, std::uint32_t value) override;
    void write8(std::uint32_t offset, std::uint8_t value) override;
    [[nodiscard]] std::vector<std::uint32_t> readable() const override;

  private:
    void write_control(std::uint32_t value);
    void write_lines(std::uint32_t value);
    void update_pins();
    [[nodiscard]] std::uint32_t read_control() const;
    [[nodiscard]] bool line_output(unsigned bit) const { return (registers_.lines >> bit & 1u) != 0; }

    page_station_state_t& state_;
    page_station_registers_t& registers_;
    lcd_t lcd_;
    keypad_target_t target_{state_.chip, registers_.keypad};
    keypad_t keypad_{state_.face, target_};
    spi_controller_t spi_{keypad_, state_.keypad_link};
};

/// Plugs a page station into a board.
void plug_page_station(fpga_t& board, page_station_state_t& state, page_station_registers_t& registers,
                       page_station_block_t::lcd_t lcd);

}  // namespace sim
