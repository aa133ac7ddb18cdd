#pragma once

#include "sim/board/fpga.h"
#include "sim/board/glass.h"
#include "sim/board/spi_controller.h"
#include "sim/board/spi_peer.h"

#include <cstdint>

namespace sim {

/// What a front panel shows and what can be done to it from outside. Plain, so that it can lie in shared
/// memory.
struct front_panel_state_t {
    // For a hand, a test or an installer to set
    std::uint32_t pressed_buttons = 0;  ///< bit i: button i
    bool present = true;                ///< false: nothing is plugged in at the FPGA's connector
    bool tells_revision = true;
    std::uint8_t revision_code = 0;  ///< 0..15
    spi_link_t link;

    // What it shows
    std::uint32_t control = 0;
    std::int8_t backlight = 0;  ///< -128 dark .. 127
    /// The three LED drivers, as latched; which bit lights what depends on the panel's revision.
    std::uint16_t led_drivers[3] = {};
    std::uint32_t led_updates = 0;
    bool lcd_in_reset = false;
    bool lcd_was_reset = false;  ///< for long enough; only then is it known what the LCD's registers hold
    std::int64_t lcd_reset_since_us = 0;
    glass_state_t glass;

    /// Brightness of the backlight, 0..1.
    [[nodiscard]] double brightness() const { return (backlight + 128) / 255.0; }
};

/// The wires from the FPGA to the panel: tells transfers apart by their first bits and their length, and
/// hands LCD bytes to the glass.
class front_panel_wires_t : public spi_peer_t {
  public:
    explicit front_panel_wires_t(front_panel_state_t& state) : state_{state}, glass_{state.glass} {}

    spi_bits_t exchange(const spi_bits_t& sent, std::uint32_t bit_rate, unsigned mode) override;
    void hold_lcd_in_reset(bool held);

  private:
    [[nodiscard]] spi_bits_t status(unsigned size) const;
    bool take_lcd_bytes(const spi_bits_t& sent);
    void latch_leds(const spi_bits_t& sent);

    front_panel_state_t& state_;
    glass_t glass_;
};

/// The FPGA's front-panel block: a control register and an SPI controller at 0x100.
class front_panel_block_t : public device_t {
  public:
    static constexpr std::uint32_t block_length = 0x100 + spi_controller_t::block_length;

    explicit front_panel_block_t(front_panel_state_t& state)
        : state_{state}, wires_{state}, spi_{wires_, state.link} {}

    std::uint32_t read32(std::uint32_t offset) override;
    void write32(std::uint32_t offset, std::uint32_t value) override;
    [[nodiscard]] std::vector<std::uint32_t> readable() const override;

    [[nodiscard]] spi_controller_t& spi() { return spi_; }

  private:
    front_panel_state_t& state_;
    front_panel_wires_t wires_;
    spi_controller_t spi_;
};

}  // namespace sim
