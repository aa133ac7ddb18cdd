#include "io/lcd/status_rows.h"

#include "io/lcd/graphics.h"
#include "io/lcd/held_update.h"

#include <algorithm>
#include <cstdint>

namespace io {

namespace {

constexpr int right_edge = graphics_t::width - 1;
constexpr int frame_left = 4;
constexpr int frame_top = 2;
constexpr int frame_right = 235;
constexpr int bar_left = 7;
constexpr int bar_top = 5;
constexpr int bar_length = 225;

}  // namespace

int status_rows_t::top_of(int row) const {
    // Further above the screen than its own height, a row looks the same as any other.
    constexpr int above_the_screen = -2;
    return layout_.height * std::max(row, above_the_screen);
}

bool status_rows_t::draw_text(int row, std::string_view text, bool centred) const {
    if (row > layout_.last_row) {
        return false;
    }
    auto& lcd = graphics();
    const held_update_t held;
    const int first = top_of(row) + layout_.first_text;
    const int last = first + layout_.height - 1;
    lcd.fill_rect(0, first, right_edge, last, graphics_t::paper);
    if (centred) {
        // The cursor has 8 bits: text wider than the screen starts near its right edge, and wraps there.
        const int spare = graphics_t::width - lcd.text_width(text, text_extent_e::widest_of_lines);
        lcd.set_pixel_pos(static_cast<std::uint8_t>(spare / 2), last);
    } else if (layout_.follows_font) {
        lcd.set_text_pos(0, row);
    } else {
        lcd.set_pixel_pos(0, last);
    }
    lcd.draw_string(text);
    return true;
}

bool status_rows_t::draw_progress(int row, int percent) const {
    if (row > layout_.last_row) {
        return false;
    }
    auto& lcd = graphics();
    const held_update_t held;
    const int y = top_of(row);
    const int frame_bottom = y + layout_.frame_bottom;
    lcd.fill_rect(0, y, right_edge, y + layout_.height - 1, graphics_t::paper);
    lcd.fill_rect(frame_left, y + frame_top, frame_right, y + frame_top, graphics_t::ink);
    lcd.fill_rect(frame_left, frame_bottom, frame_right, frame_bottom, graphics_t::ink);
    lcd.fill_rect(frame_left, y + frame_top, frame_left, frame_bottom, graphics_t::ink);
    lcd.fill_rect(frame_right, y + frame_top, frame_right, frame_bottom, graphics_t::ink);
    const auto bar_right =
        std::clamp<std::int64_t>(bar_left + std::int64_t{percent} * bar_length / 100, 0, right_edge);
    lcd.fill_rect(bar_left, y + bar_top, static_cast<int>(bar_right), y + layout_.bar_bottom,
                  graphics_t::ink);
    return true;
}

}  // namespace io
