#include "io/lcd/graphics.h"

#include "io/lcd/text_painter.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace io {

namespace {

std::uint8_t clamped(int value, int lowest, int highest) {
    return static_cast<std::uint8_t>(std::clamp(value, lowest, highest));
}

}  // namespace

bool graphics_t::init_graphics() {
    contexts_.fill({});
    current_ = 0;
    if (!is_started_) {
        is_started_ = controller_.start(frame_);
    }
    return is_started_;
}

void graphics_t::mark_initialised() {
    is_started_ = true;
    frame_.clear();
}

bool graphics_t::begin_update() {
    const bool was_free = !is_held_;
    is_held_ = true;
    return was_free;
}

bool graphics_t::end_update() {
    const bool was_free = !is_held_;
    is_held_ = false;
    flush();
    return was_free;
}

bool graphics_t::select_context(std::size_t index) {
    if (index >= context_count) {
        return false;
    }
    current_ = index;
    return true;
}

std::uint32_t graphics_t::set_mode(std::uint32_t mode) {
    return std::exchange(context().mode, mode);
}

void graphics_t::set_viewport(int left, int top, int right, int bottom) {
    const auto [x0, x1] = std::minmax({clamped(left, 0, width - 1), clamped(right, 0, width - 1)});
    const auto [y0, y1] = std::minmax({clamped(top, 0, height - 1), clamped(bottom, 0, height - 1)});
    context().viewport = {x0, y0, x1, y1};
    set_text_pos(0, 0);
    move_to(0, 0);
}

position_t graphics_t::on_screen(int x, int y) const {
    const auto& viewport = context().viewport;
    return {clamped(std::clamp(x, 0, width) + viewport.left, viewport.left, viewport.right),
            clamped(std::clamp(y, 0, height) + viewport.top, viewport.top, viewport.bottom)};
}

void graphics_t::fill(position_t from, position_t to, std::uint16_t colour) {
    const auto [left, right] = std::minmax({from.x, to.x});
    const auto [top, bottom] = std::minmax({from.y, to.y});
    const bool inverted = context().is_set(drawing_mode::inverse);
    frame_.fill({left, top, right, bottom}, inverted ? static_cast<std::uint16_t>(~colour) : colour);
}

void graphics_t::fill_rect(int x0, int y0, int x1, int y1, std::uint16_t colour) {
    fill(on_screen(x0, y0), on_screen(x1, y1), colour);
    flush_unless_held();
}

void graphics_t::move_to(int x, int y) {
    context().pen = on_screen(x, y);
}

void graphics_t::line_to(int x, int y) {
    const auto from = context().pen;
    const auto to = on_screen(x, y);
    if (from.x == to.x || from.y == to.y) {
        fill(from, to, ink);
    } else {
        draw_slanted_line(from, to);
    }
    context().pen = to;
    flush_unless_held();
}

// Bresenham's algorithm for all directions: the error is the distance from the line in both axes at once.
void graphics_t::draw_slanted_line(position_t from, position_t to) {
    const bool is_ink = !context().is_set(drawing_mode::inverse);
    const int run = std::abs(to.x - from.x);
    const int fall = std::abs(to.y - from.y);
    const int x_step = from.x < to.x ? 1 : -1;
    const int y_step = from.y < to.y ? 1 : -1;
    int error = run - fall;
    int x = from.x;
    int y = from.y;
    for (frame_.set_pixel(x, y, is_ink); x != to.x || y != to.y; frame_.set_pixel(x, y, is_ink)) {
        const int doubled = 2 * error;
        if (doubled > -fall) {
            error -= fall;
            x += x_step;
        }
        if (doubled < run) {
            error += run;
            y += y_step;
        }
    }
}

// Four thin flushes instead of one of everything inside.
void graphics_t::rect_outline(int x0, int y0, int x1, int y1) {
    move_to(x0, y0);
    line_to(x1, y0);
    line_to(x1, y1);
    line_to(x0, y1);
    line_to(x0, y0);
}

const font_t* graphics_t::select_font(const font_t* font) {
    auto& current = context();
    const auto* const previous = std::exchange(current.font, font == nullptr ? &default_font : font);
    const int first_line = std::min(current.viewport.top + current.font->height - 1, current.viewport.bottom);
    current.cursor.y = std::max(current.cursor.y, static_cast<std::uint8_t>(first_line));
    return previous;
}

void graphics_t::set_text_pos(int column, int row) {
    const int cell_width = font().width;
    const int cell_height = font().height;
    set_pixel_pos(std::clamp(column, 0, width) * cell_width,
                  ((std::clamp(row, -1, height) + 1) * cell_height) - 1);
}

void graphics_t::set_pixel_pos(int x, int y) {
    context().cursor = on_screen(x, y);
}

int graphics_t::text_width(std::string_view text, text_extent_e extent) const {
    return io::text_width(font(), text, extent);
}

void graphics_t::draw_string(std::string_view text) {
    text_painter_t{frame_, context()}.paint(text);
    flush_unless_held();
}

void graphics_t::flush_unless_held() {
    if (!is_held_) {
        flush();
    }
}

void graphics_t::flush() {
    if (controller_.send(frame_, frame_.dirty())) {
        frame_.mark_clean();
    }
}

graphics_t& graphics() {
    static auto& instance = *new graphics_t;
    return instance;
}

}  // namespace io
