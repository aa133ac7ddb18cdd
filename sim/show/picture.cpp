#include "sim/show/picture.h"

#include <algorithm>
#include <cmath>

namespace sim {

namespace {

constexpr unsigned width = glass_state_t::width;
constexpr unsigned height = glass_state_t::height;
constexpr double lightest = 31.0;

/// True when a rectangle of the picture, in pixels and parts of pixels, holds enough ink to show as a dot.
bool is_dark(const glass_picture_t& picture, double left, double top, double size) {
    const auto share = [](unsigned pixel, double from, double to) {
        return std::max(0.0, std::min(to, pixel + 1.0) - std::max(from, double{1} * pixel));
    };
    double ink = 0;
    for (auto y = static_cast<unsigned>(top); y < std::min<double>(top + size, height); ++y) {
        for (auto x = static_cast<unsigned>(left); x < std::min<double>(left + size, width); ++x) {
            ink += (lightest - picture[y][x]) / lightest * share(x, left, left + size) *
                   share(y, top, top + size);
        }
    }
    // Strokes are narrow, so less than half of a rectangle has to do once it is larger than a pixel.
    return ink * (size > 1 ? 2.4 : 2) >= size * size;
}

std::string braille(unsigned dots) {
    const unsigned code = 0x2800 + dots;
    return {static_cast<char>(0xE0 | code >> 12), static_cast<char>(0x80 | (code >> 6 & 0x3F)),
            static_cast<char>(0x80 | (code & 0x3F))};
}

std::string repeated(std::string_view text, unsigned times) {
    std::string all;
    for (unsigned i = 0; i < times; ++i) {
        all += text;
    }
    return all;
}

std::uint8_t channel(double value) {
    return static_cast<std::uint8_t>(std::lround(std::clamp(value, 0.0, 255.0)));
}

struct tint_t {
    double red;
    double green;
    double blue;
};

/// `share` of the way from one colour to another.
pixels_t::colour_t mixed(const tint_t& from, const tint_t& to, double share) {
    return {channel(from.red + (to.red - from.red) * share),
            channel(from.green + (to.green - from.green) * share),
            channel(from.blue + (to.blue - from.blue) * share)};
}

}  // namespace

std::string text_picture(const glass_picture_t& picture) {
    std::string text;
    text.reserve(std::size_t{width + 1} * height);
    for (const auto& row : picture) {
        for (const auto level : row) {
            text += level < 8 ? '#' : level < 24 ? '+' : '.';
        }
        text += '\n';
    }
    return text;
}

std::string terminal_picture(const glass_picture_t& picture, unsigned columns) {
    const unsigned inner = std::max(columns, 10u) - 2;
    const double size = std::max(1.0, width / (2.0 * inner));
    const auto cells = static_cast<unsigned>(std::ceil(width / (2 * size)));
    const auto cell_rows = static_cast<unsigned>(std::ceil(height / (4 * size)));
    // Dots of a braille character by column and row
    constexpr unsigned dots[2][4] = {{0x01, 0x02, 0x04, 0x40}, {0x08, 0x10, 0x20, 0x80}};
    std::string text = "┌" + repeated("─", cells) + "┐\n";
    for (unsigned row = 0; row < cell_rows; ++row) {
        text += "│";
        for (unsigned cell = 0; cell < cells; ++cell) {
            unsigned pattern = 0;
            for (unsigned x = 0; x < 2; ++x) {
                for (unsigned y = 0; y < 4; ++y) {
                    const bool dark = is_dark(picture, (2 * cell + x) * size, (4 * row + y) * size, size);
                    pattern |= dark ? dots[x][y] : 0;
                }
            }
            text += braille(pattern);
        }
        text += "│\n";
    }
    return text + "└" + repeated("─", cells) + "┘\n";
}

pixels_t tinted_picture(const glass_picture_t& picture, double brightness, unsigned scale) {
    constexpr tint_t unlit{84, 92, 78};
    constexpr tint_t lit{206, 226, 84};
    constexpr tint_t ink{24, 30, 40};
    constexpr double gap_share = 0.14;  // how far the background shows through between two dots
    const auto behind = mixed(unlit, lit, std::clamp(brightness, 0.0, 1.0));
    const tint_t paper{double(behind.red), double(behind.green), double(behind.blue)};
    const unsigned border = 4 * scale;
    pixels_t image{width * scale + 2 * border, height * scale + 2 * border, behind};
    for (unsigned y = 0; y < height * scale; ++y) {
        for (unsigned x = 0; x < width * scale; ++x) {
            const bool in_gap = scale > 2 && (x % scale == scale - 1 || y % scale == scale - 1);
            const double light = picture[y / scale][x / scale] / lightest;
            const double share = in_gap ? std::min(1.0, light + gap_share) : light;
            image.at(border + x, border + y) = mixed(ink, paper, share);
        }
    }
    return image;
}

}  // namespace sim
