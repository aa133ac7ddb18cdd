#pragma once

#include "sim/peers/serial_module.h"
#include "sim/show/png.h"

#include <optional>
#include <string>

namespace sim {

/// The glass of a serial display module as text, four lines of 19 characters: the digits, three lines high,
/// and below them the eight LEDs from bit 0 on, "*" lit and "." out.
///
///           _    _
///       |   _|  |_
///       |  |_    _|
///     ...*....
[[nodiscard]] std::string seven_segment_text(const serial_display_t& display);

/// The same drawn in colour, 220 x 92 pixels; segments and LEDs that are out show faintly.
[[nodiscard]] pixels_t seven_segment_pixels(const serial_display_t& display);

/// The number that the digits show, blank places left out; none when anything else is on them.
[[nodiscard]] std::optional<int> number_on(const serial_display_t& display);

}  // namespace sim
