#include "io/lcd/text_painter.h"

#include "io/lcd/text_layout.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <utility>

namespace io {

void text_painter_t::paint(std::string_view text) {
    // A text of that many bytes may scroll all it paints out again, over and over. It is first laid out
    // without paint, to see how often it scrolls: only what then stays in the viewport is painted.
    constexpr std::size_t long_text = 240;
    if (text.size() > long_text) {
        const auto start = context_.cursor;
        first_scroll_to_paint_ = std::numeric_limits<int>::max();
        lay_out(text);
        const int height = std::max<int>(context_.font->height, 1);
        first_scroll_to_paint_ =
            std::exchange(scrolls_, 0) - (context_.viewport.height() + height - 1) / height;
        context_.cursor = start;
    }
    lay_out(text);
}

void text_painter_t::lay_out(std::string_view text) {
    align_vertically(text);
    if (context_.is_set(drawing_mode::align_horizontally)) {
        align_horizontally(text);
    }
    const auto& font = *context_.font;
    bool just_wrapped = false;  // a symbol wider than the viewport is cut, not wrapped for ever
    while (!text.empty()) {
        const auto [code, length] = next_character(font, text);
        const auto rest = text.substr(length);
        const auto symbol = symbol_of(font, code);
        if (code == '\n') {
            end_line();
            text = begin_further_line(rest);
        } else if (code == '\r') {
            move_cursor(context_.viewport.left, context_.cursor.y);
            text = rest;
        } else if (symbol.width == 0) {
            text = rest;
        } else if (code == ' ' && wraps() && breaks_at_space(font, rest, room_in_line()) && wrap()) {
            text = begin_further_line(rest);
        } else if (symbol.width > room_in_line() && wraps() && !just_wrapped && wrap()) {
            text = begin_further_line(text);
            just_wrapped = true;
        } else {
            const auto [x, y] = context_.cursor;
            if (paints()) {
                frame_.draw_symbol(symbol, x, y - symbol.height + 1, context_.viewport, inverted());
            }
            move_cursor(x + symbol.width, y);
            text = rest;
            just_wrapped = false;
        }
    }
}

void text_painter_t::align_vertically(std::string_view text) {
    constexpr std::ptrdiff_t most_lines = 254;
    const auto& viewport = context_.viewport;
    const int height = context_.font->height;
    const auto how = context_.mode & drawing_mode::align_vertically;
    if (how == 0) {
        return;
    }
    int first_line = viewport.top + height - 1;
    if (how != drawing_mode::align_top) {
        const auto wanted = std::min(std::ranges::count(text, '\n') + 1, most_lines);
        const int lines = std::clamp(viewport.height() / std::max(height, 1), 1, static_cast<int>(wanted));
        const int spare = viewport.height() - (lines * height);
        first_line += how == drawing_mode::align_middle ? spare / 2 : spare;
    }
    move_cursor(context_.cursor.x, first_line);
}

void text_painter_t::align_horizontally(std::string_view line) {
    const auto& viewport = context_.viewport;
    const int spare = viewport.width() - first_line_width(*context_.font, line, viewport.width(), wraps());
    int x = viewport.left;
    switch (context_.mode & drawing_mode::align_horizontally) {
    case drawing_mode::align_right:
        x += spare;
        break;
    case drawing_mode::align_centre:
        x += spare / 2;
        break;
    default:
        break;
    }
    move_cursor(std::max(x, viewport.left), context_.cursor.y);
}

std::string_view text_painter_t::begin_further_line(std::string_view text) {
    if (context_.is_set(drawing_mode::align_every_line)) {
        text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
        align_horizontally(text);
    }
    return text;
}

void text_painter_t::end_line() {
    move_cursor(context_.viewport.left, context_.cursor.y + context_.font->height);
}

bool text_painter_t::wrap() {
    const auto& viewport = context_.viewport;
    const int height = context_.font->height;
    const auto [x, y] = context_.cursor;
    const bool past_bottom = y + height > viewport.bottom;
    if (past_bottom && context_.is_set(drawing_mode::no_wrap_at_bottom)) {
        return false;
    }
    fill_with_paper({x, y - height + 1, viewport.right, y});
    if (past_bottom) {
        ++scrolls_;
        if (paints()) {
            frame_.scroll_up(viewport, height);
        }
        fill_with_paper({viewport.left, viewport.bottom - height + 1, viewport.right, viewport.bottom});
    }
    move_cursor(viewport.left, past_bottom ? y : y + height);
    return true;
}

void text_painter_t::fill_with_paper(const pixel_rect_t& area) {
    if (paints()) {
        frame_.fill(area.clipped_to(context_.viewport), inverted() ? 0xFFFF : 0);
    }
}

// The cursor's 8 bits do not wrap around: text that has left the screen must not come back on the other side.
void text_painter_t::move_cursor(int x, int y) {
    context_.cursor = {static_cast<std::uint8_t>(std::clamp(x, 0, 255)),
                       static_cast<std::uint8_t>(std::clamp(y, 0, 255))};
}

}  // namespace io
