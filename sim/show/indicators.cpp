#include "sim/show/indicators.h"

#include "sim/board/control_block.h"
#include "sim/board/front_panel_block.h"
#include "sim/board/keypad_state.h"
#include "sim/root/shared_state.h"
#include "sim/show/lcd_reading.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace sim {

namespace {

using colour_t = pixels_t::colour_t;
constexpr colour_t lamp_out{66, 68, 72};
constexpr colour_t green{70, 225, 95};
constexpr colour_t red{240, 62, 52};
constexpr colour_t amber{250, 188, 52};
constexpr colour_t blue{90, 170, 255};

/// Which LED hangs on each pair of a driver's outputs, from bits 0 and 1 on, counted from 1; 0 is none. The
/// lower bit of a pair is the first colour, of a negative one the second.
using driver_pairs_t = std::array<int, 8>;
using wiring_t = std::array<driver_pairs_t, 3>;
constexpr wiring_t untold_revision{
    {{1, 2, -5, 3, -4, -6, -7, 10}, {8, 9, 11, 12, -13, -14, 15, 0}, {-16, -20, -17, -18, 19, 21, 0, 0}}};
constexpr wiring_t told_revision{
    {{1, 2, 3, 5, -4, -6, -7, -8}, {10, 9, 11, 12, -13, -14, -15, 0}, {-16, -17, -18, -19, 20, 21, 0, 0}}};

colour_t faded(const colour_t& colour, double share) {
    const auto mix = [&](std::uint8_t from, std::uint8_t to) {
        return static_cast<std::uint8_t>(std::lround(from + (to - from) * share));
    };
    return {mix(lamp_out.red, colour.red), mix(lamp_out.green, colour.green),
            mix(lamp_out.blue, colour.blue)};
}

indicator_row_t panel_leds(const front_panel_state_t& panel) {
    constexpr std::size_t count = 21;
    constexpr std::uint8_t code_that_counts_as_0 = 15;
    const auto& wiring = panel.tells_revision ? told_revision : untold_revision;
    const bool swapped =
        panel.tells_revision && panel.revision_code != 0 && panel.revision_code != code_that_counts_as_0;
    indicator_row_t row{"LEDs", {}};
    for (std::size_t led = 0; led < count; ++led) {
        row.indicators.push_back({std::to_string(led), "", lamp_out});
    }
    for (std::size_t driver = 0; driver < wiring.size(); ++driver) {
        for (std::size_t pair = 0; pair < wiring[driver].size(); ++pair) {
            const int led = wiring[driver][pair];
            const unsigned bits = unsigned{panel.led_drivers[driver]} >> 2 * pair & 3u;
            if (led == 0 || bits == 0) {
                continue;
            }
            const bool is_first = ((bits == 1) == (led > 0)) != swapped;
            auto& shown = row.indicators.at(static_cast<std::size_t>(std::abs(led)) - 1);
            shown.state = bits == 3 ? "both colours" : is_first ? "first colour" : "second colour";
            shown.colour = bits == 3 ? amber : is_first ? green : red;
        }
    }
    return row;
}

template <std::size_t count>
indicator_row_t key_leds(const char* name, const std::array<bool, count>& lit) {
    indicator_row_t row{name, {}};
    for (std::size_t led = 0; led < count; ++led) {
        row.indicators.push_back({std::to_string(led), lit[led] ? "lit" : "", lit[led] ? blue : lamp_out});
    }
    return row;
}

indicator_row_t lamps(const control_block_state_t& controller) {
    indicator_row_t row{"lamps", {}};
    for (const double brightness : controller.lamp) {
        std::array<char, 16> text{};
        std::snprintf(text.data(), text.size(), "%.1f %%", 100 * brightness);
        row.indicators.push_back({std::to_string(row.indicators.size()), brightness > 0 ? text.data() : "",
                                  faded(amber, std::clamp(brightness, 0.0, 1.0))});
    }
    return row;
}

void draw_dot(pixels_t& pixels, unsigned middle_x, unsigned middle_y, colour_t colour) {
    constexpr int radius = 7;
    for (int y = -radius; y <= radius; ++y) {
        for (int x = -radius; x <= radius; ++x) {
            if (x * x + y * y <= radius * radius + 4) {
                pixels.at(middle_x + static_cast<unsigned>(x), middle_y + static_cast<unsigned>(y)) = colour;
            }
        }
    }
}

/// @param x  of the text's middle.
void draw_text(pixels_t& pixels, unsigned x, unsigned y, const std::string& text) {
    constexpr colour_t letters{190, 194, 200};
    const auto ink = small_text(text);
    const auto half = ink.empty() ? 0U : static_cast<unsigned>(ink.front().size() / 2);
    for (unsigned row = 0; row < ink.size(); ++row) {
        for (unsigned column = 0; column < ink[row].size(); ++column) {
            if (ink[row][column] == '#') {
                pixels.at(x - half + column, y + row) = letters;
            }
        }
    }
}

}  // namespace

std::vector<indicator_row_t> indicators_of(const unit_definition_t& unit) {
    std::vector<indicator_row_t> rows;
    if (unit.has_front_panel) {
        rows.push_back(panel_leds(shared_state<front_panel_state_t>("front_panel")));
    }
    if (unit.has_page_station) {
        const auto& face = shared_state<page_station_state_t>("page_station").face;
        rows.push_back(key_leds("key LEDs a", face.leds_a));
        rows.push_back(key_leds("key LEDs b", face.leds_b));
    }
    if (unit.has_lamps) {
        rows.push_back(lamps(shared_state<control_block_state_t>("control")));
    }
    return rows;
}

std::string indicator_text(const std::vector<indicator_row_t>& rows) {
    std::string text;
    for (const auto& row : rows) {
        std::string lit;
        std::size_t count = 0;
        for (const auto& indicator : row.indicators) {
            if (!indicator.state.empty()) {
                lit += indicator.name + ' ' + indicator.state + ", ";
                ++count;
            }
        }
        text += row.name + ": " + lit +
                (count == 0                       ? "all dark"
                 : count == row.indicators.size() ? "none dark"
                                                  : "the others dark") +
                '\n';
    }
    return text;
}

pixels_t with_indicators(const pixels_t& picture, const std::vector<indicator_row_t>& rows) {
    constexpr colour_t front{36, 38, 42};
    constexpr unsigned row_height = 44;
    constexpr unsigned first_dot = 130;
    constexpr unsigned widest_pitch = 60;
    constexpr unsigned narrowest = 400;
    pixels_t whole{std::max(picture.width, narrowest),
                   picture.height + row_height * static_cast<unsigned>(rows.size()), front};
    for (unsigned y = 0; y < picture.height; ++y) {
        for (unsigned x = 0; x < picture.width; ++x) {
            whole.at(x, y) = picture.at(x, y);
        }
    }
    unsigned top = picture.height;
    for (const auto& row : rows) {
        draw_text(whole, first_dot / 2, top + 12, row.name);
        const auto count = static_cast<unsigned>(row.indicators.size());
        const unsigned pitch = std::min(widest_pitch, (whole.width - first_dot) / count);
        for (unsigned i = 0; i < count; ++i) {
            const unsigned x = first_dot + pitch * i;
            draw_dot(whole, x, top + 16, row.indicators[i].colour);
            draw_text(whole, x, top + 29, row.indicators[i].name);
        }
        top += row_height;
    }
    return whole;
}

}  // namespace sim
