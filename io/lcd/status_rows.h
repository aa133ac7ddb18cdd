#pragma once

#include <string_view>

namespace io {

/// How a panel divides its screen into rows that hold a line of text or a bar: lines of the screen, counted
/// from the first one of a row.
struct row_layout_t {
    int last_row;
    int height;        ///< from one row to the next
    int first_text;    ///< first line of the text's band, which is as high as a row
    int frame_bottom;  ///< last line of a bar's frame
    int bar_bottom;    ///< last line of the bar in it
    /// Text that is not centred stands on the current font's row of that number, wherever that is. A font as
    /// high as a row finds it in the band; otherwise it stands on the band's last line.
    bool follows_font;
};

/// Draws rows of text and progress bars, on whichever panel the layout is of, with the unit's drawing layer
/// (io/lcd/graphics.h). Each row goes to the glass as one picture; its flush blocks for the bus and reports
/// no failure: what did not get through goes out with a later picture.
///
/// Rows are 0..last_row. A negative one is not refused; what would lie above the screen falls on its first
/// line. Operations return false, with nothing drawn, for a row behind the last.
class status_rows_t {
  public:
    explicit constexpr status_rows_t(const row_layout_t& layout) : layout_{layout} {}

    /// Clears a row and writes text into it; text that is too long runs on into the next one; behind the last
    /// row that scrolls the whole screen up.
    /// @param text      UTF-8
    /// @param centred   by the widest line of the text; a text wider than the screen starts at its negative
    ///                  position modulo 256 (-32 is 224).
    [[nodiscard]] bool draw_text(int row, std::string_view text, bool centred) const;

    /// Clears a row and draws a framed bar.
    /// @param percent  0..100.
    [[nodiscard]] bool draw_progress(int row, int percent) const;

  private:
    [[nodiscard]] int top_of(int row) const;

    row_layout_t layout_;
};

}  // namespace io
