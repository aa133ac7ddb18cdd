// Text and graphics on the LCD: any bytes, modes, fonts, viewports and positions, on a bus that fails at any
// transfer. In the end the glass shows what the frame buffer holds.
//
// Input: drawing commands, one a line: a letter, numbers and a text with a space between them. A "\n" in the
// text is a line end. See `commands` below.

#include "fuzz/harness.h"
#include "io/front_panel/front_panel_screens.h"
#include "io/lcd/fonts.h"
#include "io/lcd/graphics.h"
#include "io/lcd/lcd_bus.h"
#include "io/lcd/text_layout.h"
#include "io/lcd/utf8.h"
#include "sim/board/glass.h"

#include <array>
#include <climits>
#include <memory>
#include <string>
#include <string_view>

namespace {

/// The LCD on wires of its own, without FPGA, which would take most of the time.
struct lcd_t {
    sim::glass_state_t state;
    sim::glass_t glass{state};
    int transfers_left = INT_MAX;  ///< until the bus fails

    bool take(bool is_data, std::uint8_t byte) {
        if (transfers_left <= 0) {
            return false;
        }
        --transfers_left;
        glass.take(is_data, byte);
        return true;
    }
};

lcd_t& lcd() {
    static auto& instance = *new lcd_t;
    return instance;
}

constinit const io::lcd_bus_t lcd_bus{
    .is_in_use = [] { return true; },
    .write = [](bool is_data, std::uint8_t byte) { return lcd().take(is_data, byte); },
    .write_word =
        [](std::uint16_t word) {
            return lcd().take(true, static_cast<std::uint8_t>(word >> 8)) &&
                   lcd().take(true, static_cast<std::uint8_t>(word & 0xFFu));
        },
};

using screens_t = io::front_panel_screens_t;

/// Drawing layer and LCD as they are after the first start, which blocks, whatever was drawn before.
void start_anew() {
    io::add_lcd_bus(lcd_bus);
    static const bool started = io::graphics().init_graphics();
    fuzz::require(started, "the LCD starts");
    static const io::graphics_t fresh_graphics = io::graphics();
    static const sim::glass_state_t fresh_glass = lcd().state;
    io::graphics() = fresh_graphics;
    lcd().state = fresh_glass;
    lcd().transfers_left = INT_MAX;
}

void check_glass() {
    lcd().transfers_left = INT_MAX;
    io::graphics().end_update();
    const auto picture = std::make_unique<sim::glass_picture_t>(sim::picture_of(lcd().state));
    const auto& frame = io::graphics().frame();
    bool same = true;
    for (unsigned y = 0; y < sim::glass_state_t::height; ++y) {
        const auto line = frame.line(static_cast<int>(y));
        for (unsigned x = 0; x < sim::glass_state_t::width; ++x) {
            const auto level = unsigned{line[x / 3]} >> std::array{11u, 6u, 0u}[x % 3] & 31u;
            same &= (*picture)[y][x] == level;
        }
    }
    fuzz::require(same, "the glass shows what the frame buffer holds");
    fuzz::require(lcd().state.faults == 0, "the LCD controller understands everything");
}

std::string text_of(std::string_view escaped) {
    std::string text{escaped};
    for (auto at = text.find("\\n"); at != text.npos; at = text.find("\\n", at + 1)) {
        text.replace(at, 2, "\n");
    }
    return text;
}

void check_utf8(std::string_view text) {
    for (const std::uint32_t highest : {255u, 65'535u}) {
        for (auto rest = text; !rest.empty();) {
            const auto [code, length] = io::decode_utf8(rest, highest);
            fuzz::require(length >= 1 && length <= rest.size() && length <= 6,
                          "a character is made of bytes of the text");
            fuzz::require(code >= 1 && code <= highest, "a character is in its range");
            rest.remove_prefix(length);
        }
    }
}

void check_widths(const std::string& text) {
    const auto& graphics = io::graphics();
    const int to_line_end = graphics.text_width(text, io::text_extent_e::to_line_end);
    const int to_word_end = graphics.text_width(text, io::text_extent_e::to_word_end);
    const int widest = graphics.text_width(text, io::text_extent_e::widest_of_lines);
    fuzz::require(to_word_end >= 0 && to_word_end <= to_line_end && to_line_end <= widest,
                  "a word is no wider than its line, a line no wider than the widest");
    const auto fitting = io::shortened_to_fit(graphics.font(), text);
    fuzz::require(fitting.size() <= text.size() + 3, "a text that is shortened grows by its dots at most");
}

bool show_screen(int which, int number, const std::string& text) {
    switch (which) {
    case 0:
        return screens_t::clear_for_text();
    case 1:
        return screens_t::fill_screen(number != 0);
    case 2:
        return screens_t::card_slots_screen();
    case 3:
        return screens_t::rebooting_screen();
    case 4:
        return screens_t::slot_names(number, text, text, text, text);
    case 5:
        return screens_t::countdown_row(number, number);
    case 6:
        return screens_t::update_notice(text);
    case 7:
        return screens_t::design_info(text, text, text);
    case 8:
        return screens_t::network_info(text, text, text, text);
    case 9:
        return screens_t::about_info(text, text);
    default:
        return screens_t::level_meter(number);
    }
}

struct command_t {
    char letter;
    std::size_t numbers;
    void (*run)(const std::array<int, 5>& n, const std::string& text);
};

constexpr command_t commands[] = {
    {'t', 0, [](const auto&, const auto& text) { io::graphics().draw_string(text); }},
    {'r', 2, [](const auto& n, const auto& text) { screens_t::draw_text_row(n[0], text, n[1] != 0); }},
    {'b', 2, [](const auto& n, const auto&) { screens_t::draw_progress_row(n[0], n[1]); }},
    {'s', 2, [](const auto& n, const auto& text) { show_screen(n[0], n[1], text); }},
    {'v', 4, [](const auto& n, const auto&) { io::graphics().set_viewport(n[0], n[1], n[2], n[3]); }},
    {'m', 1, [](const auto& n, const auto&) { io::graphics().set_mode(static_cast<std::uint32_t>(n[0])); }},
    {'x', 1,
     [](const auto& n, const auto&) { io::graphics().select_context(static_cast<std::size_t>(n[0])); }},
    {'f', 1,
     [](const auto& n, const auto&) {
         constexpr std::array<const io::font_t*, 4> fonts{nullptr, &io::default_font, &io::title_font,
                                                          &io::text_font};
         io::graphics().select_font(fonts[static_cast<unsigned>(n[0]) % fonts.size()]);
     }},
    {'c', 2, [](const auto& n, const auto&) { io::graphics().set_text_pos(n[0], n[1]); }},
    {'p', 2, [](const auto& n, const auto&) { io::graphics().set_pixel_pos(n[0], n[1]); }},
    {'M', 2, [](const auto& n, const auto&) { io::graphics().move_to(n[0], n[1]); }},
    {'L', 2, [](const auto& n, const auto&) { io::graphics().line_to(n[0], n[1]); }},
    {'O', 4, [](const auto& n, const auto&) { io::graphics().rect_outline(n[0], n[1], n[2], n[3]); }},
    {'R', 5,
     [](const auto& n, const auto&) {
         io::graphics().fill_rect(n[0], n[1], n[2], n[3], static_cast<std::uint16_t>(n[4]));
     }},
    {'h', 0, [](const auto&, const auto&) { io::graphics().begin_update(); }},
    {'e', 0, [](const auto&, const auto&) { io::graphics().end_update(); }},
    {'-', 1, [](const auto& n, const auto&) { lcd().transfers_left = n[0]; }},
    {'+', 0, [](const auto&, const auto&) { lcd().transfers_left = INT_MAX; }},
};

void run_line(std::string_view line) {
    fuzz::input_t input{line};
    const auto letter = input.up_to(' ');
    for (const auto& command : commands) {
        if (letter.size() != 1 || command.letter != letter.front()) {
            continue;
        }
        std::array<int, 5> numbers{};
        for (std::size_t i = 0; i < command.numbers; ++i) {
            numbers[i] = input.number();
        }
        const auto text = text_of(input.rest());
        check_utf8(text);
        check_widths(text);
        command.run(numbers, text);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr int most_lines = 32;
    start_anew();
    fuzz::input_t input{data, size};
    for (int lines = 0; lines < most_lines && !input.empty(); ++lines) {
        run_line(input.line());
    }
    check_glass();
    return 0;
}
