#include "sim/board/control_block.h"
#include "sim/board/front_panel_block.h"
#include "sim/board/keypad_setup.h"
#include "sim/programs/small_program.h"
#include "sim/root/shared_state.h"
#include "sim/root/unit_root.h"
#include "sim/root/violations.h"
#include "sim/show/display_view.h"
#include "sim/show/indicators.h"
#include "sim/show/lcd_reading.h"
#include "sim/show/picture.h"
#include "sim/show/text_lines.h"
#include "sim/unit/scenario.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace {

constexpr const char* help = R"(usage: lcd_display UNIT | --keypad-firmware

The LCD of a unit that runs elsewhere, such as in an emulator with board_plugin; UNIT is base-unit or another kind
that unit_sim --list-units has with an LCD. Prints what becomes of it, an event a line, until its standard input
ends:

  root DIRECTORY      where the board's devices keep what they show: FWSTATUS_UNIT_ROOT for the emulator (once)
  display TEXT        what it is, and its backlight
  lights TEXT         the LEDs on the unit's front that are lit
  glass ROWS          what is on the glass, in braille characters, a tab between two rows
  bar PERCENT         how full the bar on the glass is; "none" when there is none
  misuse TEXT         what a device did not understand

A line on standard input asks, and one comes back:

  compare STATE PERCENT DETAIL   whether the glass shows this, as the status file has it; a tab between two of them
                      "same", or "differs" and in what
  picture FILE        "picture" once a PNG picture of the display is there, or "no picture" and why

With --keypad-firmware it prints the image file that a page station has for its keypad's controller, and ends.
)";

class display_t {
  public:
    explicit display_t(const sim::unit_definition_t& unit)
        : unit_{unit}, root_{unit}, view_{sim::make_lcd_view(unit)},
          glass_{unit.has_front_panel ? sim::shared_state<sim::front_panel_state_t>("front_panel").glass
                                      : sim::shared_state<sim::glass_state_t>("glass")} {
        // What can be read lies in memory before it is asked for, so that no read finds a transfer running.
        sim::shared_state<sim::front_panel_state_t>("front_panel").link.busy_reads = 0;
        sim::shared_state<sim::control_block_state_t>("control").sensor_link.busy_reads = 0;
        auto& station = sim::set_up_keypad(root_, sim::keypad_setup_e::up_to_date);
        station.keypad_link.busy_reads = 0;
        station.chip.key_window_us *= 20;  // the emulator is so much slower than the processor of a unit
        root_.guardian().end_on_signals();
        std::printf("root %s\n", root_.path().c_str());
    }

    void look() {
        tell("display", view_->caption(), caption_);
        tell("lights", in_a_line(sim::indicator_text(sim::indicators_of(unit_))), lights_);
        look_at_glass();
        const auto all = sim::violations();
        for (const auto& line : sim::lines_of(all.substr(std::min(misuse_seen_, all.size())))) {
            std::printf("misuse %s\n", line.c_str());
        }
        misuse_seen_ = all.size();
        std::fflush(stdout);
    }

    void answer(const std::string& line) {
        const auto space = std::min(line.find(' '), line.size() - 1);
        const auto what = line.substr(0, space);
        const auto rest = line.substr(space + 1);
        if (what == "compare") {
            const auto difference = compare(rest);
            std::printf(difference.empty() ? "same\n" : "differs %s\n", difference.c_str());
        } else if (what == "picture") {
            write_picture(rest);
        } else {
            std::fprintf(stderr, "lcd_display: not understood: %s\n", line.c_str());
        }
        std::fflush(stdout);
    }

  private:
    static std::string in_a_line(std::string text) {
        while (!text.empty() && text.back() == '\n') {
            text.pop_back();
        }
        std::ranges::replace(text, '\n', '\t');
        return text;
    }

    static void tell(const char* what, std::string now, std::string& before) {
        if (now != before) {
            before = std::move(now);
            std::printf("%s %s\n", what, before.c_str());
        }
    }

    void look_at_glass() {
        constexpr std::chrono::milliseconds shortest{200};
        constexpr unsigned columns = 122;
        const auto now = std::chrono::steady_clock::now();
        if (now - glass_told_ < shortest) {
            return;
        }
        glass_told_ = now;
        const auto picture = sim::picture_of(glass_);
        tell("glass", in_a_line(sim::terminal_picture(picture, columns)), rows_);
        const auto bar = sim::bar_on(picture);
        tell("bar", bar ? std::to_string(std::lround(*bar)) : "none", bar_);
    }

    [[nodiscard]] std::string compare(const std::string& values) const {
        const auto first = values.find('\t');
        const auto second = values.find('\t', first + 1);
        if (second == std::string::npos) {
            return "from a question without three values";
        }
        int percent = 0;
        std::from_chars(values.data() + first + 1, values.data() + second, percent);
        const auto detail = values.substr(second + 1);
        auto difference =
            view_->difference(sim::state_text(values.substr(0, first)), std::clamp(percent, 0, 100));
        if (difference.empty() && unit_.has_front_panel && !detail.empty() &&
            !sim::shows_text(sim::picture_of(glass_), detail)) {
            difference = "no \"" + detail + "\" is on the glass";
        }
        return difference;
    }

    void write_picture(const std::string& path) const {
        try {
            sim::write_png(path, sim::with_indicators(view_->pixels(), sim::indicators_of(unit_)));
            std::puts("picture");
        } catch (const std::exception& error) {
            std::printf("no picture %s\n", error.what());
        }
    }

    sim::unit_definition_t unit_;
    sim::unit_root_t root_;
    std::unique_ptr<sim::display_view_t> view_;
    const sim::glass_state_t& glass_;
    std::string caption_, lights_, rows_, bar_;
    std::size_t misuse_seen_ = 0;
    std::chrono::steady_clock::time_point glass_told_;
};

void show(const sim::unit_definition_t& unit) {
    display_t display{unit};
    std::string asked;
    for (;;) {
        display.look();
        pollfd input{STDIN_FILENO, POLLIN, 0};
        if (::poll(&input, 1, 50) <= 0) {
            continue;
        }
        std::array<char, 512> text{};
        const auto length = ::read(STDIN_FILENO, text.data(), text.size());
        if (length <= 0) {
            return;
        }
        asked.append(text.data(), static_cast<std::size_t>(length));
        for (auto end = asked.find('\n'); end != std::string::npos; end = asked.find('\n')) {
            display.answer(asked.substr(0, end));
            asked.erase(0, end + 1);
        }
    }
}

int run(const sim::small_program_t::words_t& words) {
    const auto word = words.empty() ? "" : words.front();
    if (word == "--keypad-firmware") {
        std::fputs(sim::keypad_firmware_file().c_str(), stdout);
        return 0;
    }
    const auto* const unit = sim::find_unit(word);
    if (unit == nullptr || !(unit->has_front_panel || unit->has_page_station)) {
        throw sim::wrong_usage_t{"no unit \"" + word + "\" with an LCD"};
    }
    show(*unit);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    return sim::run_program({"lcd_display", help, 1, run}, argc, argv);
}
