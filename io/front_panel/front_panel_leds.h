#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

/// The panel's field of bi-colour LEDs. Pure functions.
namespace io {

inline constexpr std::size_t panel_led_count = 21;

/// What one LED shows.
enum class led_state_e : std::uint8_t { off = 0, first_colour = 1, both_colours = 2, second_colour = 3 };

/// The three words of the LED drivers that light the LEDs as asked.
/// @param revision  -1..1, which decides how the LEDs are wired; a value outside counts as the nearest.
[[nodiscard]] std::array<std::uint16_t, 3>
led_driver_words(int revision, std::span<const led_state_e, panel_led_count> leds);

/// The transmit words of the 49-bit transfer that carries driver words: a 0 bit, then word 2, 1 and 0.
[[nodiscard]] std::array<std::uint16_t, 4> led_transfer(const std::array<std::uint16_t, 3>& driver_words);

}  // namespace io
