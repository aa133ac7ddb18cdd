#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace io {

/// A font: read-only data, made at build time from the BDF sources in fonts/.
///
/// The symbol table holds `symbol_count` symbols back to back, one every header + `bytes_per_symbol` bytes. A
/// symbol is a header and its bitmap:
///
///     byte 0      width in pixels, 1..255         byte 0      0
///     byte 1      height in pixels                byte 1      bits per pixel, 1..8
///     byte 2...   bitmap                          byte 2      width in pixels
///                                                 byte 3      height in pixels
///                                                 byte 4...   bitmap
///
/// The first symbol decides which of the two forms the whole table has; a font never mixes them. The bitmap
/// is row after row from the top, the leftmost pixel in the most significant bits, and every row starts in a
/// byte of its own: a row takes ceil(width x bits per pixel / 8) bytes. What `bytes_per_symbol` leaves after
/// the last row is padding. In the short form a set bit is ink; in the long form a pixel is a grey value.
///
/// The code page is a sequence of 16-bit words in host order:
///
///     word 0      number of ranges
///     word 1      default character, drawn in place of one that is in no range
///     word 2...   per range: first character, last character, symbol index of the first one;
///                 ranges ascend and do not overlap
///
/// Without a code page a character is its own symbol index.
struct font_t {
    std::uint8_t width = 0;  ///< nominal, for positions counted in columns; a symbol has its own
    std::uint8_t height = 0;
    std::uint16_t bytes_per_symbol = 0;  ///< of one bitmap with its padding, without the header
    const std::uint8_t* symbols = nullptr;
    std::uint16_t symbol_count = 0;
    const std::uint16_t* code_page = nullptr;  ///< may be null
};

/// One symbol as found in its font's table. An empty one (width 0) draws nothing and moves nothing.
struct symbol_t {
    /// 0 in the short form, where a set bit is ink; 1..8 in the long form.
    std::uint8_t bits_per_pixel = 0;
    std::uint8_t width = 0;
    std::uint8_t height = 0;
    std::size_t bytes_per_row = 0;
    const std::uint8_t* bitmap = nullptr;  ///< height x bytes_per_row bytes

    /// The value of a pixel: 0 or 1 in the short form, 0 .. 2^bits_per_pixel - 1 in the long form.
    /// @param column  0 .. width - 1, from the left.
    /// @param row     0 .. height - 1, from the top.
    [[nodiscard]] std::uint8_t pixel(std::size_t column, std::size_t row) const;
};

/// The symbol that a character is drawn with; the default character's if the code page does not know it.
/// Nothing when the font cannot draw it: the default character itself is in no range, the character is not
/// below the symbol count of a font without code page, or a range points behind the symbol table.
[[nodiscard]] std::optional<std::uint16_t> symbol_index(const font_t& font, std::uint32_t character);

/// The symbol with an index. Empty for an index behind the table, a header of the other form than the first
/// symbol's, bits per pixel outside 1..8, or a bitmap larger than its place.
[[nodiscard]] symbol_t symbol(const font_t& font, std::uint16_t index);

}  // namespace io
