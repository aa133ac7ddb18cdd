#pragma once

#include "io/lcd/drawing_context.h"
#include "io/lcd/frame_buffer.h"
#include "io/lcd/lcd_controller.h"
#include "io/lcd/text_layout.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace io {

/// The drawing layer of the unit's one LCD, 240 x 64 pixels of 32 grey levels: a frame buffer and five
/// drawing contexts, each with a viewport, a text cursor, a pen, a font and a mode.
///
/// Coordinates are pixels relative to the current viewport, inclusive, and clamped into it. Colour 0 is
/// paper, 0xFFFF ink, any other value a fill pattern (io/lcd/frame_buffer.h). Every primitive flushes what it
/// changed to the glass by itself unless an update is held.
///
/// A flush blocks for its bus transfers, up to 11 and one for every word of three pixels, and ends at the
/// first that fails, which costs 100 000 looks at the controller at most (io/lcd/lcd_bus.h). What it should
/// have sent stays due and goes out with the next flush, so that the glass is whole again once the bus is.
/// Primitives report no such failure; while an update is held they do not block. Drawing never allocates
/// memory. Not for use from two threads.
class graphics_t {
  public:
    static constexpr int width = frame_buffer_t::width;
    static constexpr int height = frame_buffer_t::height;
    static constexpr std::uint16_t paper = 0;
    static constexpr std::uint16_t ink = 0xFFFF;
    static constexpr std::size_t context_count = 5;

    /// Brings all five contexts to their initial state and makes the first current. Starts the LCD controller
    /// the first time, again after a start that failed and after `mark_uninitialised`; that blocks for about
    /// 200 ms and fills screen and frame buffer with paper.
    /// @return false when the controller's start failed half way.
    bool init_graphics();
    /// Says that the LCD controller has lost its settings, as it does when its reset line was pulled.
    void mark_uninitialised() { is_started_ = false; }
    /// Says that another process has started the LCD controller, so that `init_graphics` leaves it, and what
    /// stands on the glass, alone. The frame buffer knows nothing of that picture: it is paper.
    void mark_initialised();

    /// Holds flushing back. Holds do not nest: the first end releases. Returns whether no update was held
    /// before.
    bool begin_update();
    /// Ends the hold and flushes. Returns whether no update was held before.
    bool end_update();
    [[nodiscard]] bool is_held() const { return is_held_; }

    /// Makes one of the five contexts current. Returns false, changing nothing, for an index above 4.
    bool select_context(std::size_t index);
    /// Sets the current context's mode (io/lcd/drawing_context.h). Returns the previous one.
    std::uint32_t set_mode(std::uint32_t mode);
    /// Sets the current context's viewport, in pixels of the screen and clamped into it, bounds in any order;
    /// puts the cursor at its first line and the pen in its upper left corner.
    void set_viewport(int left, int top, int right, int bottom);

    /// From one corner to the opposite one, in any order.
    void fill_rect(int x0, int y0, int x1, int y1, std::uint16_t colour);
    /// Puts the pen down at a point; draws nothing.
    void move_to(int x, int y);
    /// Draws in ink from the pen to a point, both included, and moves the pen there.
    void line_to(int x, int y);
    /// Four lines, each with a flush of its own; leaves the pen at the first corner.
    void rect_outline(int x0, int y0, int x1, int y1);

    /// Makes a font current; null selects the 8 x 8 default font. A cursor above the first line that the font
    /// leaves room for moves down to it. Returns the previous font.
    const font_t* select_font(const font_t* font);
    [[nodiscard]] const font_t& font() const { return *context().font; }
    /// In cells of the font's nominal width and its height.
    void set_text_pos(int column, int row);
    /// @param y  the bottom line of the characters' cells.
    void set_pixel_pos(int x, int y);
    /// Width in pixels in the current font (io/lcd/text_layout.h).
    [[nodiscard]] int text_width(std::string_view text, text_extent_e extent) const;
    /// Draws UTF-8 text at the cursor and moves it behind (io/lcd/text_painter.h). Characters that the font
    /// cannot draw are skipped.
    void draw_string(std::string_view text);

    /// The picture as it should stand on the glass.
    [[nodiscard]] const frame_buffer_t& frame() const { return frame_; }

  private:
    [[nodiscard]] drawing_context_t& context() { return contexts_[current_]; }
    [[nodiscard]] const drawing_context_t& context() const { return contexts_[current_]; }
    /// A point of the viewport as a point of the screen.
    [[nodiscard]] position_t on_screen(int x, int y) const;
    void fill(position_t from, position_t to, std::uint16_t colour);
    void draw_slanted_line(position_t from, position_t to);
    void flush_unless_held();
    void flush();

    frame_buffer_t frame_;
    lcd_controller_t controller_;
    std::array<drawing_context_t, context_count> contexts_{};
    std::size_t current_ = 0;
    bool is_held_ = false;
    bool is_started_ = false;
};

/// The unit's LCD, constructed on first use and never destroyed.
[[nodiscard]] graphics_t& graphics();

}  // namespace io
