#pragma once

#include "io/lcd/font.h"
#include "io/lcd/pixel_rect.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace io {

/// The picture as it should stand on the LCD: 64 lines of 80 words. Word k of a line holds the pixels 3k,
/// 3k + 1 and 3k + 2 as 5-bit grey levels in bits 15-11, 10-6 and 4-0, as the controller takes them; bit 5 is
/// 0. Level 0 is ink, 31 paper.
///
/// What changes is collected in one dirty rectangle. Rectangles are cut to the screen: nothing is ever
/// written outside.
class frame_buffer_t {
  public:
    static constexpr int width = 240;
    static constexpr int height = 64;
    static constexpr int pixels_per_word = 3;
    static constexpr std::size_t words_per_line = width / pixels_per_word;
    static constexpr pixel_rect_t screen{0, 0, width - 1, height - 1};
    static constexpr unsigned ink_level = 0;
    static constexpr unsigned paper_level = 31;

    /// Makes everything paper, and nothing dirty.
    void clear();

    /// Fills with a pattern of 24 x 2 pixels that starts at the screen's corner: the high byte on even lines,
    /// the low byte on odd ones, its eight bits from the most significant on three times over; a set bit is
    /// ink. So 0 is paper and 0xFFFF ink.
    void fill(const pixel_rect_t& area, std::uint16_t pattern);

    /// Makes one pixel ink or paper.
    void set_pixel(int x, int y, bool is_ink);

    /// Paints a symbol's whole cell, what lies inside `clip` of it.
    /// @param x, y      the cell's upper left pixel; may lie outside the screen.
    /// @param inverted  ink and paper swapped.
    void draw_symbol(const symbol_t& symbol, int x, int y, const pixel_rect_t& clip, bool inverted);

    /// Moves the content of an area up; what comes in at the bottom stays as it was.
    void scroll_up(const pixel_rect_t& area, int lines);

    /// @param y  0..63; one outside gives the nearest line.
    [[nodiscard]] std::span<const std::uint16_t, words_per_line> line(int y) const {
        return lines_[static_cast<std::size_t>(std::clamp(y, 0, height - 1))];
    }

    [[nodiscard]] const pixel_rect_t& dirty() const { return dirty_; }
    void mark_clean() { dirty_ = no_pixels; }

  private:
    void draw_mono(const symbol_t& symbol, int x, int y, const pixel_rect_t& visible, bool inverted);
    void draw_grey(const symbol_t& symbol, int x, int y, const pixel_rect_t& visible, bool inverted);
    void mark_dirty(const pixel_rect_t& area) { dirty_ = dirty_.joined_with(area); }

    std::array<std::array<std::uint16_t, words_per_line>, height> lines_{};
    pixel_rect_t dirty_ = no_pixels;
};

}  // namespace io
