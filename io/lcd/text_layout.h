#pragma once

#include "io/lcd/font.h"
#include "io/lcd/utf8.h"

#include <string>
#include <string_view>

/// How much room a text takes in a font. Pure functions; widths in pixels.
namespace io {

/// The next character of a text that is not empty, as far as the font can tell characters apart: up to 65535
/// with a code page, up to 255 without.
[[nodiscard]] utf8_character_t next_character(const font_t& font, std::string_view text);

/// What a character is drawn with; empty (width 0) when the font cannot draw it.
[[nodiscard]] symbol_t symbol_of(const font_t& font, std::uint32_t character);

/// Up to where a text is measured.
enum class text_extent_e {
    to_line_end = 0,     ///< up to the first line end or tab
    to_word_end = 1,     ///< up to the first space, line end or tab
    widest_of_lines = 2  ///< all lines, a tab counted as 8 pixels
};

/// A carriage return begins its line anew: the wider of what stands before and behind it counts. Characters
/// that the font cannot draw count nothing.
[[nodiscard]] int text_width(const font_t& font, std::string_view text, text_extent_e extent);

/// The width of a text's first line when it is broken where it leaves `room`.
/// @param wraps  false when only a line end ends a line.
[[nodiscard]] int first_line_width(const font_t& font, std::string_view text, int room, bool wraps);

/// True when a space and the word behind it do not fit into `room`.
/// @param after_space  the text behind the space.
[[nodiscard]] bool breaks_at_space(const font_t& font, std::string_view after_space, int room);

/// The text itself when it is no wider than the screen, else as much of it as leaves room for "..." behind.
[[nodiscard]] std::string shortened_to_fit(const font_t& font, std::string_view text);

}  // namespace io
