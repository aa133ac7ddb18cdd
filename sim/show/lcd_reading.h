#pragma once

#include "sim/board/glass.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

/// Whether a text stands somewhere on a glass, in any of the tree's fonts (their BDF sources): exactly its
/// dark pixels within the box around it, wherever that lies. ASCII only. Throws std::runtime_error when a
/// font is missing.
[[nodiscard]] bool shows_text(const glass_picture_t& picture, std::string_view text);

/// A text in the smallest of the fonts: rows of '#' for ink and '.', without blank ones around. Empty when
/// the font lacks a character.
[[nodiscard]] std::vector<std::string> small_text(std::string_view text);

/// How full the bar on a glass is, in percent: the dark part of what lies within a frame of at least half the
/// glass's width, apart from the light gap along the frame. None when there is no such frame.
[[nodiscard]] std::optional<double> bar_on(const glass_picture_t& picture);

/// Width of a text in pixels in the widest of the fonts.
[[nodiscard]] unsigned widest_text(std::string_view text);

}  // namespace sim
