#pragma once

#include "io/lcd/font.h"
#include "io/lcd/fonts.h"
#include "io/lcd/frame_buffer.h"
#include "io/lcd/pixel_rect.h"

#include <cstdint>

namespace io {

/// Bits of a drawing context's mode.
namespace drawing_mode {
inline constexpr std::uint32_t inverse = 1u << 0;  ///< ink and paper swap, in fills, lines and text
inline constexpr std::uint32_t no_wrap = 1u << 1;
/// Every further line is aligned as the first, without its leading spaces and tabs. The bit is part of
/// align_right (all of it) and of align_centre: only left-aligned text can be without.
inline constexpr std::uint32_t align_every_line = 1u << 3;
inline constexpr std::uint32_t align_horizontally = 3u << 2;
inline constexpr std::uint32_t align_left = 1u << 2;
inline constexpr std::uint32_t align_right = 2u << 2;
inline constexpr std::uint32_t align_centre = 3u << 2;
inline constexpr std::uint32_t align_vertically = 3u << 4;
inline constexpr std::uint32_t align_top = 1u << 4;
inline constexpr std::uint32_t align_bottom = 2u << 4;
inline constexpr std::uint32_t align_middle = 3u << 4;
/// On the last line of the viewport, text runs on to the right instead of wrapping and scrolling.
inline constexpr std::uint32_t no_wrap_at_bottom = 1u << 6;
}  // namespace drawing_mode

/// A point of the screen; may lie outside a viewport.
struct position_t {
    std::uint8_t x = 0;
    std::uint8_t y = 0;
};

/// Where and how drawing happens. A font carries its own code page.
struct drawing_context_t {
    pixel_rect_t viewport = frame_buffer_t::screen;
    position_t cursor{0, 7};  ///< left edge and bottom line of the next character's cell
    position_t pen;           ///< start of the next line segment
    const font_t* font = &default_font;
    std::uint32_t mode = 0;

    [[nodiscard]] bool is_set(std::uint32_t bit) const { return (mode & bit) != 0; }
};

}  // namespace io
