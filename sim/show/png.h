#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace sim {

/// A picture of 8-bit red, green, blue, row by row from the top left.
struct pixels_t {
    struct colour_t {
        std::uint8_t red = 0;
        std::uint8_t green = 0;
        std::uint8_t blue = 0;
        bool operator==(const colour_t&) const = default;
    };

    pixels_t(unsigned picture_width, unsigned picture_height, colour_t background)
        : width{picture_width}, height{picture_height}, colours(std::size_t{width} * height, background) {}

    [[nodiscard]] colour_t& at(unsigned x, unsigned y) { return colours.at(std::size_t{y} * width + x); }
    [[nodiscard]] const colour_t& at(unsigned x, unsigned y) const {
        return colours.at(std::size_t{y} * width + x);
    }

    unsigned width;
    unsigned height;
    std::vector<colour_t> colours;
};

/// Writes a picture as a PNG file. Throws std::runtime_error with the reason when that fails.
void write_png(const std::string& path, const pixels_t& pixels);

}  // namespace sim
