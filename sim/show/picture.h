#pragma once

#include "sim/board/glass.h"
#include "sim/show/png.h"

#include <string>

namespace sim {

/// The picture with one character per pixel, 64 lines of 240: '#' for dark, '+' for the darker half between,
/// '.' for light. For comparing and for reading in a test's report.
[[nodiscard]] std::string text_picture(const glass_picture_t& picture);

/// The picture for a terminal in braille characters of 2 x 4 pixels, light dots where the glass is dark, in a
/// frame of lines. Scaled down when there is no room.
/// @param columns  room in characters, the frame included; 122 show every pixel.
[[nodiscard]] std::string terminal_picture(const glass_picture_t& picture, unsigned columns);

/// The picture as a photograph would show it: every pixel a dot with a gap to the next one, tinted by the
/// backlight behind it.
/// @param brightness  of the backlight, 0..1.
/// @param scale       pixels per dot with its gap, at least 1.
[[nodiscard]] pixels_t tinted_picture(const glass_picture_t& picture, double brightness, unsigned scale);

}  // namespace sim
