#pragma once

#include "io/lcd/drawing_context.h"
#include "io/lcd/frame_buffer.h"

#include <string_view>

namespace io {

/// Writes one string into the frame buffer at a context's cursor, which it moves on: alignment, line ends,
/// word wrap and scrolling. Everything is cut to the context's viewport.
///
/// Line ends move down without scrolling; only a line that was too long scrolls. Painting takes as long as a
/// few screens of text, however long the text is; laying it out takes a little for every character.
class text_painter_t {
  public:
    text_painter_t(frame_buffer_t& frame, drawing_context_t& context) : frame_{frame}, context_{context} {}

    void paint(std::string_view text);

  private:
    void lay_out(std::string_view text);
    void align_vertically(std::string_view text);
    void align_horizontally(std::string_view line);
    /// Places the cursor for a line that is not the first. Returns what is left of the text to draw.
    std::string_view begin_further_line(std::string_view text);
    void end_line();
    /// Ends a line that is too long. Returns false when it has to run on.
    bool wrap();

    [[nodiscard]] bool wraps() const { return !context_.is_set(drawing_mode::no_wrap); }
    [[nodiscard]] bool inverted() const { return context_.is_set(drawing_mode::inverse); }
    [[nodiscard]] int room_in_line() const { return context_.viewport.right + 1 - context_.cursor.x; }
    [[nodiscard]] bool paints() const { return scrolls_ >= first_scroll_to_paint_; }
    void fill_with_paper(const pixel_rect_t& area);
    void move_cursor(int x, int y);

    frame_buffer_t& frame_;
    drawing_context_t& context_;
    int scrolls_ = 0;
    int first_scroll_to_paint_ = 0;
};

}  // namespace io
