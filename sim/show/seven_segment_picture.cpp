#include "sim/show/seven_segment_picture.h"

#include <algorithm>
#include <array>

namespace sim {

namespace {

// Where a segment stands: as a character in a cell of three by three, and as a bar in a cell of 36 by 60.
struct segment_t {
    unsigned bit;
    unsigned row;
    unsigned column;
    char stroke;
    unsigned left;
    unsigned top;
    unsigned width;
    unsigned height;
};

// Clockwise from the top, then the bar in the middle.
constexpr std::array<segment_t, 7> segments{{
    {0, 0, 1, '_', 4, 0, 28, 4},
    {1, 1, 2, '|', 32, 4, 4, 24},
    {2, 2, 2, '|', 32, 32, 4, 24},
    {3, 2, 1, '_', 4, 56, 28, 4},
    {4, 2, 0, '|', 0, 32, 4, 24},
    {5, 1, 0, '|', 0, 4, 4, 24},
    {6, 1, 1, '_', 4, 28, 28, 4},
}};

constexpr unsigned digit_pitch = 52;
constexpr unsigned margin = 12;
constexpr unsigned led_pitch = 26;
constexpr unsigned led_size = 8;

constexpr pixels_t::colour_t case_colour{24, 24, 26};
constexpr pixels_t::colour_t segment_lit{255, 48, 32};
constexpr pixels_t::colour_t segment_out{52, 28, 28};
constexpr pixels_t::colour_t led_lit{80, 255, 96};
constexpr pixels_t::colour_t led_out{28, 52, 30};

bool lit(unsigned bits, unsigned bit) {
    return (bits >> bit & 1u) != 0;
}

void fill(pixels_t& pixels, unsigned left, unsigned top, unsigned columns, unsigned rows,
          pixels_t::colour_t colour) {
    for (unsigned y = top; y < top + rows; ++y) {
        for (unsigned x = left; x < left + columns; ++x) {
            pixels.at(x, y) = colour;
        }
    }
}

}  // namespace

std::string seven_segment_text(const serial_display_t& display) {
    constexpr std::size_t cell = 5;
    std::array<std::string, 3> rows;
    rows.fill(std::string(display.digits.size() * cell - 1, ' '));
    for (std::size_t digit = 0; digit < display.digits.size(); ++digit) {
        for (const auto& segment : segments) {
            if (lit(display.digits[digit], segment.bit)) {
                rows[segment.row][digit * cell + segment.column] = segment.stroke;
            }
        }
    }
    std::string text;
    for (const auto& row : rows) {
        text += row + '\n';
    }
    for (unsigned led = 0; led < 8; ++led) {
        text += lit(display.leds, led) ? '*' : '.';
    }
    return text + std::string(rows[0].size() - 8, ' ') + '\n';
}

pixels_t seven_segment_pixels(const serial_display_t& display) {
    pixels_t pixels{4 * digit_pitch + margin, 92, case_colour};
    for (unsigned digit = 0; digit < display.digits.size(); ++digit) {
        for (const auto& segment : segments) {
            fill(pixels, margin + digit * digit_pitch + segment.left, margin + segment.top, segment.width,
                 segment.height, lit(display.digits[digit], segment.bit) ? segment_lit : segment_out);
        }
    }
    for (unsigned led = 0; led < 8; ++led) {
        fill(pixels, margin + led * led_pitch, 78, led_size, led_size,
             lit(display.leds, led) ? led_lit : led_out);
    }
    return pixels;
}

std::optional<int> number_on(const serial_display_t& display) {
    constexpr std::array<std::uint8_t, 10> figures{0x3F, 0x06, 0x5B, 0x4F, 0x66,
                                                   0x6D, 0x7D, 0x07, 0x7F, 0x6F};
    std::optional<int> number;
    for (const auto segments_lit : display.digits) {
        const auto figure = std::ranges::find(figures, segments_lit);
        if (figure != figures.end()) {
            number = number.value_or(0) * 10 + static_cast<int>(figure - figures.begin());
        } else if (segments_lit != 0) {
            return std::nullopt;
        }
    }
    return number;
}

}  // namespace sim
