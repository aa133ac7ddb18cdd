// Text and graphics on the LCD: any bytes, modes, fonts, viewports and positions, on a page station's LCD bus
// that comes and goes. In the end the glass shows what the frame buffer holds.
//
// Input: drawing commands, one a line: a letter, numbers with a space behind each, a text in which "\n" is a
// line end. See `commands` below.

#include "fuzz/harness.h"
#include "io/fonts.h"
#include "io/front_panel_screens.h"
#include "io/graphics.h"
#include "io/system.h"
#include "io/text_layout.h"
#include "io/utf8.h"
#include "sim/board.h"
#include "sim/glass.h"
#include "sim/shared_state.h"
#include "sim/unit_definition.h"
#include "sim/unit_root.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace {

using screens_t = io::front_panel_screens_t;

/// A page station: its LCD takes a byte with a single access, which keeps a fuzzer fast.
class station_t {
  public:
    station_t() {
        sim::set_fpga(sim::build_board(root_.definition()));
        plug_in();
        fuzz::require(io::graphics().init_graphics(), "the LCD starts");
    }

    void plug_in() {
        if (!hardware_) {
            hardware_.emplace();
        }
    }
    /// Without the FPGA's registers no byte reaches the LCD.
    void pull_out() { hardware_.reset(); }

    /// Every context as after the start, nothing held, everything paper.
    void start_anew() {
        plug_in();
        auto& lcd = io::graphics();
        lcd.init_graphics();
        lcd.begin_update();
        lcd.fill_rect(0, 0, io::graphics_t::width, io::graphics_t::height, io::graphics_t::paper);
        lcd.end_update();
    }

    void check_glass() {
        plug_in();
        io::graphics().end_update();
        const auto picture = sim::picture_of(glass_);
        const auto& frame = io::graphics().frame();
        for (unsigned y = 0; y < sim::glass_state_t::height; ++y) {
            const auto line = frame.line(static_cast<int>(y));
            for (unsigned x = 0; x < sim::glass_state_t::width; ++x) {
                const auto level = unsigned{line[x / 3]} >> std::array{11, 6, 0}[x % 3] & 31u;
                fuzz::require(picture[y][x] == level, "the glass shows what the frame buffer holds");
            }
        }
        fuzz::require(glass_.faults == 0, "the LCD controller understands everything");
    }

  private:
    sim::unit_root_t root_{*sim::find_unit("page-station")};
    sim::glass_state_t& glass_ = sim::shared_state<sim::glass_state_t>("glass");
    std::optional<io::system_t> hardware_;
};

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
    const auto& lcd = io::graphics();
    const int to_line_end = lcd.text_width(text, 0);
    const int to_word_end = lcd.text_width(text, 1);
    const int widest = lcd.text_width(text, 2);
    fuzz::require(to_word_end >= 0 && to_word_end <= to_line_end && to_line_end <= widest,
                  "a word is no wider than its line, a line no wider than the widest");
    const auto fitting = io::shortened_to_fit(lcd.font(), text);
    fuzz::require(fitting.size() <= text.size() + 3, "a text that is shortened grows by its dots at most");
}

void show_screen(int which, int number, const std::string& text) {
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
    void (*run)(station_t& station, const std::array<int, 5>& n, const std::string& text);
};

constexpr command_t commands[] = {
    {'t', 0, [](station_t&, const auto&, const auto& text) { io::graphics().draw_string(text); }},
    {'r', 2, [](station_t&, const auto& n, const auto& text) { screens_t::draw_text_row(n[0], text, n[1] != 0); }},
    {'b', 2, [](station_t&, const auto& n, const auto&) { screens_t::draw_progress_row(n[0], n[1]); }},
    {'s', 2, [](station_t&, const auto& n, const auto& text) { show_screen(n[0], n[1], text); }},
    {'v', 4, [](station_t&, const auto& n, const auto&) { io::graphics().set_viewport(n[0], n[1], n[2], n[3]); }},
    {'m', 1, [](station_t&, const auto& n, const auto&) { io::graphics().set_mode(static_cast<std::uint32_t>(n[0])); }},
    {'x', 1, [](station_t&, const auto& n, const auto&) { io::graphics().select_context(static_cast<std::size_t>(n[0])); }},
    {'f', 1,
     [](station_t&, const auto& n, const auto&) {
         constexpr std::array<const io::font_t*, 4> fonts{nullptr, &io::default_font, &io::title_font, &io::text_font};
         io::graphics().select_font(fonts[static_cast<unsigned>(n[0]) % fonts.size()]);
     }},
    {'c', 2, [](station_t&, const auto& n, const auto&) { io::graphics().set_text_pos(n[0], n[1]); }},
    {'p', 2, [](station_t&, const auto& n, const auto&) { io::graphics().set_pixel_pos(n[0], n[1]); }},
    {'M', 2, [](station_t&, const auto& n, const auto&) { io::graphics().move_to(n[0], n[1]); }},
    {'L', 2, [](station_t&, const auto& n, const auto&) { io::graphics().line_to(n[0], n[1]); }},
    {'O', 4, [](station_t&, const auto& n, const auto&) { io::graphics().rect_outline(n[0], n[1], n[2], n[3]); }},
    {'R', 5,
     [](station_t&, const auto& n, const auto&) {
         io::graphics().fill_rect(n[0], n[1], n[2], n[3], static_cast<std::uint16_t>(n[4]));
     }},
    {'h', 0, [](station_t&, const auto&, const auto&) { io::graphics().begin_update(); }},
    {'e', 0, [](station_t&, const auto&, const auto&) { io::graphics().end_update(); }},
    {'-', 0, [](station_t& station, const auto&, const auto&) { station.pull_out(); }},
    {'+', 0, [](station_t& station, const auto&, const auto&) { station.plug_in(); }},
};

void run_line(station_t& station, std::string_view line) {
    fuzz::input_t input{line};
    const char letter = input.letter();
    for (const auto& command : commands) {
        if (command.letter == letter) {
            std::array<int, 5> numbers{};
            for (std::size_t i = 0; i < command.numbers; ++i) {
                numbers[i] = input.number();
            }
            const auto text = text_of(input.rest());
            check_utf8(text);
            check_widths(text);
            command.run(station, numbers, text);
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr int most_lines = 32;
    static station_t station;
    station.start_anew();
    fuzz::input_t input{data, size};
    for (int lines = 0; lines < most_lines && !input.empty(); ++lines) {
        run_line(station, input.line());
    }
    station.check_glass();
    return 0;
}
