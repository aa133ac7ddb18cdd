#include "sim/show/lcd_reading.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace sim {

namespace {

struct glyph_t {
    unsigned advance = 0;
    std::size_t top = 0;  // of the box, in lines below the ascent line
    std::size_t left = 0;
    std::vector<std::string> rows;  // '#' for ink, from the box's left edge on
};
using font_t = std::map<int, glyph_t>;

// A bitmap row in hexadecimal digits as ink.
std::string ink_of(const std::string& digits) {
    std::string row;
    for (const char digit : digits) {
        const auto value = std::stoul(std::string{digit}, nullptr, 16);
        for (unsigned bit = 8; bit != 0; bit >>= 1) {
            row += (value & bit) != 0 ? '#' : '.';
        }
    }
    return row;
}

font_t read_font(const std::string& path) {
    std::ifstream file{path};
    if (!file) {
        throw std::runtime_error{"there is no font " + path};
    }
    font_t font;
    glyph_t glyph;
    int code = 0;
    int ascent = 0;
    bool in_bitmap = false;
    for (std::string line; std::getline(file, line);) {
        std::istringstream words{line};
        std::string key;
        words >> key;
        if (key == "FONT_ASCENT") {
            words >> ascent;
        } else if (key == "STARTCHAR") {
            glyph = {};
        } else if (key == "ENCODING") {
            words >> code;
        } else if (key == "DWIDTH") {
            words >> glyph.advance;
        } else if (key == "BBX") {
            int width = 0;
            int height = 0;
            int below = 0;
            words >> width >> height >> glyph.left >> below;
            glyph.top = static_cast<std::size_t>(std::max(0, ascent - below - height));
        } else if (key == "ENDCHAR") {
            in_bitmap = false;
            font[code] = glyph;
        } else if (in_bitmap) {
            glyph.rows.push_back(ink_of(key));
        }
        in_bitmap = in_bitmap || key == "BITMAP";
    }
    return font;
}

const std::array<font_t, 3>& fonts() {
    static const auto& all = *new std::array{read_font(FWSTATUS_FONTS "/text_8x16.bdf"),
                                             read_font(FWSTATUS_FONTS "/title_8x13.bdf"),
                                             read_font(FWSTATUS_FONTS "/default_8x8.bdf")};
    return all;
}

unsigned width_of(const font_t& font, std::string_view text) {
    unsigned width = 0;
    for (const char character : text) {
        const auto found = font.find(character);
        width += found == font.end() ? 0 : found->second.advance;
    }
    return width;
}

// The text's ink in its box: rows of '#' and '.', without blank ones around.
std::vector<std::string> box_of(const font_t& font, std::string_view text) {
    constexpr int room = 24;
    std::vector<std::string> rows(room, std::string(width_of(font, text) + room, '.'));
    std::size_t x = 0;
    for (const char character : text) {
        const auto found = font.find(character);
        if (found == font.end()) {
            return {};
        }
        const auto& glyph = found->second;
        for (std::size_t y = 0; y < glyph.rows.size(); ++y) {
            for (std::size_t i = 0; i < glyph.rows[y].size(); ++i) {
                if (glyph.rows[y][i] == '#') {
                    rows.at(glyph.top + y).at(x + glyph.left + i) = '#';
                }
            }
        }
        x += glyph.advance;
    }
    const auto blank = [](const std::string& row) { return row.find('#') == std::string::npos; };
    std::erase_if(rows, blank);  // a text has no blank row within
    std::size_t left = std::string::npos;
    std::size_t right = 0;
    for (const auto& row : rows) {
        left = std::min(left, row.find('#'));
        right = std::max(right, row.rfind('#'));
    }
    for (auto& row : rows) {
        row = row.substr(left, right - left + 1);
    }
    return rows;
}

bool dark(const glass_picture_t& picture, std::size_t x, std::size_t y) {
    return picture[y][x] < 16;
}

bool stands_at(const glass_picture_t& picture, const std::vector<std::string>& box, std::size_t x,
               std::size_t y) {
    for (std::size_t row = 0; row < box.size(); ++row) {
        for (std::size_t column = 0; column < box[row].size(); ++column) {
            if (dark(picture, x + column, y + row) != (box[row][column] == '#')) {
                return false;
            }
        }
    }
    return true;
}

bool shows_box(const glass_picture_t& picture, const std::vector<std::string>& box) {
    if (box.empty() || box[0].size() > glass_state_t::width) {
        return false;
    }
    for (std::size_t y = 0; y + box.size() <= glass_state_t::height; ++y) {
        for (std::size_t x = 0; x + box[0].size() <= glass_state_t::width; ++x) {
            if (stands_at(picture, box, x, y)) {
                return true;
            }
        }
    }
    return false;
}

// The dark pixels from (x, y) on to the right.
unsigned run_at(const glass_picture_t& picture, unsigned x, unsigned y) {
    unsigned end = x;
    while (end < glass_state_t::width && dark(picture, end, y)) {
        ++end;
    }
    return end - x;
}

}  // namespace

bool shows_text(const glass_picture_t& picture, std::string_view text) {
    return std::ranges::any_of(fonts(),
                               [&](const font_t& font) { return shows_box(picture, box_of(font, text)); });
}

std::vector<std::string> small_text(std::string_view text) {
    return box_of(fonts().back(), text);
}

unsigned widest_text(std::string_view text) {
    unsigned widest = 0;
    for (const auto& font : fonts()) {
        widest = std::max(widest, width_of(font, text));
    }
    return widest;
}

std::optional<double> bar_on(const glass_picture_t& picture) {
    for (unsigned y = 0; y + 4 < glass_state_t::height; ++y) {
        for (unsigned x = 0; x < glass_state_t::width / 2; ++x) {
            const auto frame = run_at(picture, x, y);
            if (frame < glass_state_t::width / 2 || run_at(picture, x, y + 1) != 1) {
                continue;
            }
            unsigned bottom = y + 1;
            while (bottom + 1 < glass_state_t::height && run_at(picture, x, bottom) < frame) {
                ++bottom;
            }
            const auto middle = (y + bottom) / 2;
            unsigned start = x + 1;
            while (start < x + frame && !dark(picture, start, middle)) {
                ++start;
            }
            const auto gap = start - x - 1;
            const auto inside = static_cast<int>(frame) - 2 - 2 * static_cast<int>(gap);
            return inside <= 0 ? 0 : 100.0 * run_at(picture, start, middle) / inside;
        }
    }
    return std::nullopt;
}

}  // namespace sim
