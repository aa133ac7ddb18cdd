#pragma once

#include "io/control.h"
#include "io/keypad/keypad_lines.h"
#include "io/register_field.h"
#include "io/spi.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace io {

/// A paging desk's keypad, key LEDs and LCD of 240 x 64 pixels, used as three rows of 21 pixels.
///
/// Operations return whether they succeeded and throw nothing; what is wrong with an argument or an answer
/// stands on standard output or, for the LEDs, in the log "drv_io_page_station". Operations on registers fail
/// while `init` has not found them. One thread only, and nothing else may use the keypad's lines.
class page_station_t : public control_t {
  public:
    static constexpr int led_count = 33;

    /// Brings the page station up. Blocks for about 0.2 s the first time, for the LCD's start.
    /// @param full  also resets the keypad controller, checks and if need be programs its firmware, three
    ///              attempts at most. Blocks: 10 ms for the reset and what each attempt takes: 0.2 s at most
    ///              when nobody answers, 27 s at most when it programs (io/keypad/keypad_update.h). A
    ///              controller that could not be updated leaves the unit without keys, which is no failure.
    /// @return false when this is no page station or the FPGA is not mapped. An LCD that does not start
    ///         is no failure either: it stays dark.
    [[nodiscard]] bool init(bool full);

    /// @param value  -128..127
    bool set_backlight(int value);
    /// @param run  false holds the keypad controller in reset.
    bool set_keypad_run(bool run);

    /// The hardware revision, 0..31.
    bool get_revision(std::uint32_t& revision);
    bool read_input(std::uint32_t& word);
    bool read_input_bit3(bool& level);
    bool read_input_bit4(bool& level);
    bool set_output_bit0(bool level);
    bool set_output_bit1(bool level);
    bool set_output_bit2(bool level);
    bool set_output_bit14(bool level);

    /// Whether the keypad works, as far as bring-ups have found.
    [[nodiscard]] bool has_keys() const { return !keypad_disabled_; }
    /// Takes one key event from the keypad controller; one SPI transfer when one waits.
    /// @param key  0..63. Left as it was, with `pressed`, when nothing waits; 0 on a unit without keys.
    bool read_key(std::uint32_t& key, bool& pressed);

    /// Sets one LED in the image of its bank.
    /// @param index  0..32
    /// @param send   hands the image over at once.
    bool set_led_a(int index, bool on, bool send);
    bool set_led_b(int index, bool on, bool send);
    /// Hands the LED image over to the keypad controller; one SPI transfer.
    bool send_leds();

    /// Rows 0..2 of 21 lines each (io/lcd/status_rows.h).
    bool draw_text(int row, std::string_view text, bool centred);
    /// @param percent  0..100
    bool draw_progress(int row, int percent);

  private:
    using led_bank_t = std::array<std::uint8_t, 5>;

    friend page_station_t& page_station();
    page_station_t() = default;

    bool keypad_bring_up();
    bool read_register(std::size_t offset, std::uint32_t& word) const;
    bool change_control(field_t field, std::uint32_t value);
    bool read_control_bit(field_t field, bool& level) const;
    bool set_led(led_bank_t& bank, int index, bool on, bool send);

    std::byte* block_ = nullptr;
    spi_t spi_;  ///< to the keypad controller
    bool keypad_disabled_ = false;
    led_bank_t led_a_{};
    led_bank_t led_b_{};
    keypad_lines_t& lines_ = keypad_lines();
};

/// The unit's page station, constructed on first use and never destroyed.
[[nodiscard]] page_station_t& page_station();

/// Control-register bit 2 of the unit's page station.
void page_station_output_bit2_high();
void page_station_output_bit2_low();

}  // namespace io
