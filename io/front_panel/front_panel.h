#pragma once

#include "io/front_panel/front_panel_leds.h"
#include "io/front_panel/front_panel_screens.h"
#include "io/spi.h"
#include "io/system.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace io {

/// The LCD front panel: a 240 x 64 grey-scale LCD with backlight, three buttons, 21 bi-colour LEDs and the
/// states that the cards' indicators show. What the LCD can show is in the base class.
///
/// Brought up by `initialise`; before that every operation on hardware fails. Operations return false after a
/// line on standard output for an argument out of range, with nothing written, and when an SPI transfer
/// failed (io/spi.h says what may have been written then). They block for the SPI transfers they make, each
/// bounded as io/spi.h says.
class front_panel_t : public system_t, public front_panel_screens_t {
  public:
    static constexpr int unread_revision = -2;
    static constexpr unsigned button_count = 3;
    static constexpr int channels_per_slot = 5;

    /// True on the platforms that have this panel.
    [[nodiscard]] static bool is_supported();

    /// @param reset  resets panel and LCD as well; blocks for about 200 ms.
    [[nodiscard]] bool initialise(bool reset);
    /// Pulls the LCD's reset line for 1 ms, turns the backlight off, starts the LCD controller and selects
    /// the text font.
    bool reset_lcd();
    /// @param revision  -1..1; as it was on failure.
    [[nodiscard]] bool read_revision(int& revision);
    /// @param level  -128..127.
    bool set_backlight(int level);

    /// Reads the buttons and counts in the shared region what was pressed and released since the last time.
    /// @param pressed  bit i is set while button i is pressed.
    bool poll_buttons(std::uint32_t& pressed);

    // Counters in the shared region.
    /// @param button  0..2.
    bool get_press_count(unsigned button, std::uint32_t& count) const;
    bool set_press_count(unsigned button, std::uint32_t count);
    bool get_release_count(unsigned button, std::uint32_t& count) const;
    bool set_release_count(unsigned button, std::uint32_t count);

    /// Writes one entry of the slot states in the shared region. On a unit with eight slots (platform 7) the
    /// table is longer than its room: entries from slot 4, channel 1 on overwrite the button counters, the
    /// controller status and the announced platform id and slot count (docs/hardware.md).
    /// @param slot     0..slot count; the last one is the unit itself and has channel 0 alone.
    /// @param channel  0..4.
    /// @param state    any value; stored as it is, for whoever reads the region.
    bool set_slot_channel_state(int slot, int channel, std::uint32_t state);

    /// Platform 7 does not look at the states and repeats the panel's last SPI transfer, whichever it was.
    /// @param states  0 off, 1 first colour, 2 both, 3 second colour.
    bool set_leds(std::span<const int, panel_led_count> states);
    bool set_all_leds(int state);

    /// The panel's half of the LCD bus; everybody else uses io/lcd/lcd_bus.h.
    [[nodiscard]] bool send_to_lcd(bool is_data, std::uint8_t byte);
    [[nodiscard]] bool send_word_to_lcd(std::uint16_t word);

  private:
    [[nodiscard]] bool read_status(std::uint32_t& status);
    void set_up_spi(std::uint32_t bit_count, std::uint32_t bit_rate);
    /// The counter of a button; null, after a line on standard output, for a button that there is not.
    [[nodiscard]] std::byte* counter(std::size_t counters, unsigned button) const;
    bool read_counter(std::size_t counters, unsigned button, std::uint32_t& count) const;
    bool write_counter(std::size_t counters, unsigned button, std::uint32_t count);

    std::byte* control_ = nullptr;
    std::byte* shared_ = nullptr;  ///< area C of the I/O shared region
    int revision_ = unread_revision;
    std::uint32_t last_pressed_ = 0;
    spi_t spi_;
};

/// The unit's front panel, constructed on first use and never destroyed.
[[nodiscard]] front_panel_t& front_panel();

}  // namespace io
