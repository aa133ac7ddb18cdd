#pragma once

#include <cstdint>
#include <string_view>

namespace io {

struct font_t;

/// The drawing layer of the unit's one LCD, 240 x 64 pixels of 32 grey levels: a frame buffer, a drawing
/// context with a viewport, a text cursor and a font.
///
/// Coordinates are pixels relative to the current viewport, inclusive, and clamped into it. Colour 0 is
/// paper, 0xFFFF ink, any other value a fill pattern. Every primitive flushes what it changed to the glass by
/// itself unless an update is held; a flush ends at the first failed bus transfer. Not for use from two
/// threads.
class graphics_t {
  public:
    static constexpr int width = 240;
    static constexpr int height = 64;
    static constexpr std::uint16_t paper = 0;
    static constexpr std::uint16_t ink = 0xFFFF;

    /// Brings all five contexts to their initial state and makes the first current. Starts the LCD controller
    /// the first time, and again after a start that failed; that fills screen and frame buffer with paper.
    /// @return false when the controller's start failed half way.
    bool init_graphics();

    /// Holds flushing back. Returns whether no update was held before.
    bool begin_update();
    /// Ends the hold and flushes. Returns whether no update was held before.
    bool end_update();

    void fill_rect(int x0, int y0, int x1, int y1, std::uint16_t colour);
    void move_to(int x, int y);
    void line_to(int x, int y);
    void rect_outline(int x0, int y0, int x1, int y1);

    /// Makes a font current; null selects the 8 x 8 default font. Returns the previous font.
    const font_t* select_font(const font_t* font);
    void set_text_pos(int column, int row);
    void set_pixel_pos(int x, int y);
    /// Width in pixels. Mode 0: up to the first line end or tab; 1: also up to the first space; 2: the widest
    /// line, a tab counted as 8 pixels.
    [[nodiscard]] int text_width(std::string_view text, int mode) const;
    void draw_string(std::string_view text);
};

/// The unit's LCD, constructed on first use and never destroyed.
[[nodiscard]] graphics_t& graphics();

}  // namespace io
