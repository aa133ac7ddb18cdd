#include "io/io_lx4s.h"
#include "io/system.h"
#include "platform/exceptions.h"
#include "platform/logging.h"
#include "platform/paths.h"
#include "sim/board.h"
#include "sim/fpga.h"
#include "sim/serial_module.h"
#include "sim/seven_segment_picture.h"
#include "sim/shared_state.h"
#include "sim/unit_definition.h"
#include "sim/unit_root.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <termios.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <regex>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

namespace {

using namespace std::chrono_literals;

// A unit whose platform is settled, with nothing on its serial port until a module is connected.
class unit_t {
  public:
    explicit unit_t(std::string_view kind) : root_{*sim::find_unit(kind)} {
        sim::set_fpga(sim::build_board(root_.definition()));
        hardware_.emplace();
        zel::register_logger("drv_io_lx4s");
        zel::set_logger_level("drv_io_lx4s", "debug");
        zel::add_log_file(root_.file("/sim/log"));
    }

    sim::serial_module_t& connect_module(const sim::serial_manners_t& manners = {}) {
        module_.emplace(sim::shared_state<sim::serial_display_t>("serial_module"), manners);
        module_->connect(root_.file(zel::paths::serial_front_panel));
        return *module_;
    }
    [[nodiscard]] const sim::unit_root_t& root() const { return root_; }

    // The text of the latest log line.
    [[nodiscard]] std::string logged() const {
        const auto log = root_.read_file("/sim/log");
        const auto text = log.rfind("[debug] ");
        return text == std::string::npos ? "" : log.substr(text + 8, log.size() - 1 - (text + 8));
    }

  private:
    sim::unit_root_t root_;
    std::optional<io::system_t> hardware_;
    std::optional<sim::serial_module_t> module_;
};

struct serial_panel : testing::Test {
    void bring_up() { ASSERT_TRUE(panel.init(true)); }

    // What frame `number` shows; the blank frame of `init` is number 0.
    sim::serial_display_t wait_for_frame(std::size_t number) const {
        EXPECT_TRUE(module.wait_for_frames(number + 1, 10s));
        return module.history().at(number).display;
    }

    // The number of frames once no more come.
    std::size_t frames_when_quiet() const {
        std::size_t count = 0;
        while (module.wait_for_frames(count + 1, 100ms)) {
            ++count;
        }
        return count;
    }

    unit_t unit{"serial-panel"};
    sim::serial_module_t& module = unit.connect_module();
    io::io_lx4s_t panel{5ms};
};

// Digits and LEDs as a picture, without blanks at line ends.
std::string picture_of(const sim::serial_display_t& display) {
    return '\n' + std::regex_replace(sim::seven_segment_text(display), std::regex{" +\n"}, "\n");
}

TEST_F(serial_panel, a_module_that_answers_is_found_and_blanked) {
    EXPECT_FALSE(panel.is_present());
    bring_up();
    EXPECT_TRUE(panel.is_present());
    EXPECT_EQ(unit.logged(), "io::io_lx4s: LX4s driver initialized");
    EXPECT_EQ(wait_for_frame(0), sim::serial_display_t{});
    EXPECT_EQ(sim::violations(), "");
}

TEST(serial_panel_probe, whatever_does_not_answer_as_a_module_does_is_turned_down_with_its_own_line) {
    unit_t unit{"serial-panel"};
    const std::string no_reading = "io::io_lx4s: unable to read from serial port";
    const std::string bad_response = "io:lx4s driver: bad response";
    const auto nothing_read = VMIN == 6 ? bad_response : no_reading;
    io::io_lx4s_t panel;

    EXPECT_FALSE(panel.init(true)) << "no such device";
    EXPECT_EQ(unit.logged(), no_reading);
    unit.root().write_file(zel::paths::serial_front_panel, "");
    EXPECT_FALSE(panel.init(true)) << "a device that cannot be set up";
    EXPECT_EQ(unit.logged(), no_reading);

    const std::array<std::pair<sim::serial_manners_t, std::string>, 3> modules{{
        {{.answer = ""}, nothing_read},
        {{.delay = 650ms}, nothing_read},
        {{.answer = "D"}, bad_response},
    }};
    for (const auto& [manners, line] : modules) {
        auto& module = unit.connect_module(manners);
        EXPECT_FALSE(panel.init(true));
        EXPECT_EQ(unit.logged(), line);
        EXPECT_TRUE(module.history().empty());
    }
    EXPECT_FALSE(panel.is_present());
}

TEST(serial_panel_probe, only_its_own_platform_is_looked_at_and_the_line_only_when_asked_for) {
    {
        const unit_t expander{"serial-panel"};
        io::io_lx4s_t panel;
        EXPECT_TRUE(panel.init(false));
        EXPECT_EQ(expander.logged(), "io::io_lx4s: LX4s driver!!");
    }
    unit_t base_unit{"base-unit"};
    auto& module = base_unit.connect_module();
    io::io_lx4s_t panel;
    EXPECT_FALSE(panel.init(true));
    EXPECT_FALSE(panel.init(false));
    EXPECT_EQ(base_unit.logged(), "io::io_lx4s: This is not an LX-4s!!");
    EXPECT_TRUE(module.history().empty());
}

TEST_F(serial_panel, a_stopped_panel_draws_numbers_at_once_without_leading_zeros) {
    bring_up();
    const std::array<std::pair<int, std::string_view>, 6> numbers{{
        {123, "\n      _    _\n  |   _|   _|\n  |  |_    _|\n........\n"},
        {456, "\n      _\n|_|  |_   |_\n  |   _|  |_|\n........\n"},
        {789, "\n _    _    _\n  |  |_|  |_|\n  |  |_|   _|\n........\n"},
        {100, "\n      _    _\n  |  | |  | |\n  |  |_|  |_|\n........\n"},
        {5, "\n           _\n          |_\n           _|\n........\n"},
        {42, "\n           _\n     |_|   _|\n       |  |_\n........\n"},
    }};
    std::size_t frame = 0;
    for (const auto& [percent, picture] : numbers) {
        EXPECT_TRUE(panel.set_progress(percent));
        const auto display = wait_for_frame(++frame);
        EXPECT_EQ(picture_of(display), picture) << percent;
        EXPECT_EQ(display.mode, 4) << percent;
    }
    panel.draw_progress(1234);
    panel.draw_progress(234);
    EXPECT_EQ(wait_for_frame(frame + 1), wait_for_frame(frame + 2));

    EXPECT_FALSE(panel.set_progress(-1));
    EXPECT_FALSE(panel.draw_progress(-1));
    EXPECT_TRUE(panel.clear());
    EXPECT_EQ(wait_for_frame(frame + 3), sim::serial_display_t{});
}

// One character a digit: upper square, lower square or blank; then the LEDs.
std::string squares_of(const sim::serial_display_t& display) {
    std::string text;
    for (const auto digit : display.digits) {
        text += digit == 0x63 ? '^' : digit == 0x5C ? 'v' : digit == 0 ? '-' : '?';
    }
    return text + ' ' + std::to_string(display.leds) + (display.mode == 0 ? "" : " %");
}

TEST_F(serial_panel, the_animation_sweeps_squares_and_runs_its_lamps_back_and_forth) {
    bring_up();
    panel.start();
    EXPECT_TRUE(panel.is_running());
    const std::array<std::string_view, 19> expected{
        "---- 0",                                    // the worker's own start
        "^--- 8",  "^^-- 8",  "^^^- 16", "^^^^ 16",  // first pass
        "v^^^ 32", "vv^^ 32", "vvv^ 16", "vvvv 16", "^vvv 8",  "^^vv 8", "^^^v 16",
        "^^^^ 16", "v^^^ 32", "vv^^ 32", "vvv^ 16", "vvvv 16", "^vvv 8", "^^vv 8",  // second
    };
    for (std::size_t frame = 0; frame < expected.size(); ++frame) {
        EXPECT_EQ(squares_of(wait_for_frame(1 + frame)), expected[frame]) << frame;
    }
}

TEST_F(serial_panel, the_newest_value_handed_over_is_shown_for_sixteen_frames_after_a_pass) {
    bring_up();
    panel.start();
    panel.set_progress(41);
    panel.set_progress(42);
    EXPECT_FALSE(panel.set_progress(-1));
    constexpr std::size_t first_number = 1 + 1 + 16 + 1;  // after init, start, a pass and a blank
    EXPECT_EQ(picture_of(wait_for_frame(first_number)),
              "\n           _\n     |_|   _|\n       |  |_\n........\n");
    panel.set_progress(43);
    for (std::size_t frame = 0; frame < 16; ++frame) {
        EXPECT_EQ(wait_for_frame(first_number + frame).mode, 4) << frame;
    }
    EXPECT_EQ(picture_of(wait_for_frame(first_number + 15)),
              "\n           _\n     |_|   _|\n       |   _|\n........\n");
    EXPECT_EQ(squares_of(wait_for_frame(first_number + 16)), "---- 0");
    EXPECT_EQ(squares_of(wait_for_frame(first_number + 17)), "^--- 8");
}

TEST_F(serial_panel, stopping_waits_for_the_worker_and_hands_frame_and_line_back) {
    bring_up();
    panel.start();
    panel.start();
    wait_for_frame(3);
    panel.stop();
    EXPECT_FALSE(panel.is_running());
    // 1 + 1 + whole passes of 16: the request is looked at between passes only.
    const auto at_stop = frames_when_quiet();
    panel.set_progress(7);
    EXPECT_EQ(wait_for_frame(at_stop).mode, 4);
    EXPECT_EQ((at_stop - 2) % 16, 0u);

    panel.start();
    EXPECT_EQ(squares_of(wait_for_frame(at_stop + 2)), "^--- 8");
    EXPECT_TRUE(panel.close());
    EXPECT_FALSE(panel.is_running());
    frames_when_quiet();
    EXPECT_EQ(picture_of(module.display()),
              "\n _    _    _\n| |  |_   |_   |\n|_|  |    |    |_\n........\n");
    EXPECT_EQ(module.display().mode, 0);
    EXPECT_TRUE(panel.close()) << "a closed line is no reason to complain";
    EXPECT_THROW(panel.clear(), zel::serial_port_exception);
}

TEST_F(serial_panel, a_panel_that_goes_stops_by_itself_and_bears_a_module_that_has_vanished) {
    for (const bool vanished : {false, true}) {
        io::io_lx4s_t short_lived{1ms};
        ASSERT_TRUE(short_lived.init(true));
        if (vanished) {
            module.vanish();
            EXPECT_THROW(short_lived.set_progress(1), zel::serial_port_exception);
        } else {
            short_lived.start();
        }
    }
}

// Each runs in a process of its own that ends as it stands: stopping would wait for the rest of a pass.
TEST(serial_panel_worker, a_module_that_vanishes_while_it_runs_ends_the_process) {
    const auto lose_the_module = [] {
        unit_t unit{"serial-panel"};
        auto& module = unit.connect_module();
        io::io_lx4s_t panel{2ms};
        if (panel.init(true)) {
            panel.start();
            module.vanish();
            std::this_thread::sleep_for(5s);
        }
        std::_Exit(0);
    };
    EXPECT_EXIT(lose_the_module(), testing::KilledBySignal(SIGABRT), "");
}

TEST(serial_panel_worker, the_units_own_panel_shows_four_frames_a_second) {
    const auto measure = [] {
        unit_t unit{"serial-panel"};
        auto& module = unit.connect_module();
        const bool found = io::serial_panel().init(true);
        io::serial_panel().start();
        const bool shown = module.wait_for_frames(5, 5s);
        const auto frames = module.history();
        const auto two_periods = frames.at(4).at - frames.at(2).at;
        std::_Exit(found && shown && two_periods > 450ms && two_periods < 900ms ? 0 : 1);
    };
    EXPECT_EXIT(measure(), testing::ExitedWithCode(0), "");
}

TEST_F(serial_panel, the_module_reads_the_next_whole_frame_after_one_that_was_cut_off) {
    zel::serial_port port;
    port.open(module.path(), O_NONBLOCK);
    port.configure(B115200, zel::data_bits_e::eight, zel::parity_e::none, zel::stop_bits_e::one,
                   zel::flow_control_e::none);
    port.write("xy\x99\x01\x02\x99\x01\x02\x03\x04", 10);
    port.write("\x05\x04z", 3);
    const sim::serial_display_t expected{.digits = {1, 2, 3, 4}, .leds = 5, .mode = 4};
    EXPECT_EQ(wait_for_frame(0), expected);
    port.configure(B9600, zel::data_bits_e::eight, zel::parity_e::none, zel::stop_bits_e::one,
                   zel::flow_control_e::none);
    port.write("\x99\1\1\1\1\1\1", 7);
    EXPECT_FALSE(module.wait_for_frames(2, 100ms));
    EXPECT_EQ(sim::violations(), "serial module: byte 120 belongs to no frame\n"
                                 "serial module: frame cut off after 3 bytes\n"
                                 "serial module: byte 122 belongs to no frame\n"
                                 "serial module: noise, the line is not set to 115200 8N1\n");
}

}  // namespace
