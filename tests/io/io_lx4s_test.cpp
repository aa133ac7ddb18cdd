#include "io/io_lx4s.h"
#include "io/system.h"
#include "platform/exceptions.h"
#include "platform/paths.h"
#include "sim/serial_module.h"
#include "sim/seven_segment_picture.h"
#include "tests/io/driver_test.h"

#include <termios.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

namespace {

using namespace std::chrono_literals;

// A unit whose platform is settled, with nothing on its serial port until a module is connected.
struct serial_panel : testing::Test {
    serial_panel() {
        zel::register_logger("drv_io_lx4s");
        zel::set_logger_level("drv_io_lx4s", "debug");
    }
    void connect_module(const sim::serial_manners_t& manners = {}) {
        module.emplace(sim::shared_state<sim::serial_display_t>("serial_module"), manners);
        module->connect(unit.root.file(zel::paths::serial_front_panel));
    }
    void bring_up() {
        connect_module();
        ASSERT_TRUE(panel.init(true));
    }
    // Whether the latest log line is this one.
    [[nodiscard]] bool last_said(const std::string& line) const {
        return unit.log.text().ends_with("[debug] " + line + '\n');
    }
    // What frame `number` shows; the blank frame of `init` is number 0.
    sim::serial_display_t wait_for_frame(std::size_t number) const {
        EXPECT_TRUE(module->wait_for_frames(number + 1, 10s));
        return module->history().at(number).display;
    }
    // The number of frames once no more come.
    std::size_t frames_when_quiet() const {
        std::size_t count = 0;
        while (module->wait_for_frames(count + 1, 100ms)) {
            ++count;
        }
        return count;
    }

    const tests::checked_unit_t unit{"serial-panel"};
    const io::system_t hardware;
    std::optional<sim::serial_module_t> module;
    io::io_lx4s_t panel{5ms};
};

// Digits and LEDs as a picture, without blanks at line ends.
std::string picture_of(const sim::serial_display_t& display) {
    auto text = '\n' + sim::seven_segment_text(display);
    for (auto at = text.find(" \n"); at != std::string::npos; at = text.find(" \n")) {
        text.erase(at, 1);
    }
    return text;
}

// One character a digit: upper square, lower square, blank or part of a number; then the LEDs.
std::string squares_of(const sim::serial_display_t& display) {
    std::string text;
    for (const auto digit : display.digits) {
        text += digit == 0x63 ? '^' : digit == 0x5C ? 'v' : digit == 0 ? '-' : '?';
    }
    return text + ' ' + std::to_string(display.leds) + (display.mode == 0 ? "" : " %");
}

TEST_F(serial_panel, only_a_module_that_answers_as_one_is_taken_and_blanked) {
    const std::string no_reading = "io::io_lx4s: unable to read from serial port";
    const std::string bad_response = "io:lx4s driver: bad response";
    EXPECT_FALSE(panel.init(true)) << "no such device";
    EXPECT_TRUE(last_said(no_reading));
    unit.root.write_file(zel::paths::serial_front_panel, "");
    EXPECT_FALSE(panel.init(true)) << "a device that cannot be set up";
    EXPECT_TRUE(last_said(no_reading));

    const auto& nothing_read = VMIN == 6 ? bad_response : no_reading;
    const std::pair<sim::serial_manners_t, std::string> modules[] = {
        {{.answer = ""}, nothing_read}, {{.delay = 650ms}, nothing_read}, {{.answer = "D"}, bad_response}};
    for (const auto& [manners, line] : modules) {
        connect_module(manners);
        EXPECT_FALSE(panel.init(true) || panel.is_present());
        EXPECT_TRUE(last_said(line));
        EXPECT_TRUE(module->history().empty());
    }
    bring_up();
    EXPECT_TRUE(panel.is_present());
    EXPECT_TRUE(last_said("io::io_lx4s: LX4s driver initialized"));
    EXPECT_EQ(wait_for_frame(0), sim::serial_display_t{});
}

TEST_F(serial_panel, a_stopped_panel_draws_numbers_at_once_without_leading_zeros) {
    bring_up();
    const std::pair<int, std::string_view> numbers[] = {
        {123, "\n      _    _\n  |   _|   _|\n  |  |_    _|\n........\n"},
        {456, "\n      _\n|_|  |_   |_\n  |   _|  |_|\n........\n"},
        {789, "\n _    _    _\n  |  |_|  |_|\n  |  |_|   _|\n........\n"},
        {100, "\n      _    _\n  |  | |  | |\n  |  |_|  |_|\n........\n"},
        {5, "\n           _\n          |_\n           _|\n........\n"},
        {2123, "\n      _    _\n  |   _|   _|\n  |  |_    _|\n........\n"},
    };
    std::size_t frame = 0;
    for (const auto& [percent, picture] : numbers) {
        EXPECT_TRUE(panel.set_progress(percent));
        const auto display = wait_for_frame(++frame);
        EXPECT_EQ(picture_of(display), picture) << percent;
        EXPECT_EQ(display.mode, 4) << percent;
    }
    EXPECT_FALSE(panel.set_progress(-1) || panel.draw_progress(-1));
    EXPECT_TRUE(panel.clear());
    EXPECT_EQ(wait_for_frame(frame + 1), sim::serial_display_t{});
}

TEST_F(serial_panel, the_worker_plays_passes_of_squares_and_between_them_the_newest_value_for_16_frames) {
    bring_up();
    panel.start();
    panel.set_progress(41);
    panel.set_progress(42);
    EXPECT_FALSE(panel.set_progress(-1));
    const std::string_view pass[] = {
        "---- 0",                                    // the worker's own start
        "^--- 8",  "^^-- 8",  "^^^- 16", "^^^^ 16",  //
        "v^^^ 32", "vv^^ 32", "vvv^ 16", "vvvv 16", "^vvv 8",  "^^vv 8",
        "^^^v 16", "^^^^ 16", "v^^^ 32", "vv^^ 32", "vvv^ 16", "vvvv 16",
    };
    std::size_t frame = 0;
    for (const auto squares : pass) {
        EXPECT_EQ(squares_of(wait_for_frame(++frame)), squares) << frame;
    }
    EXPECT_EQ(squares_of(wait_for_frame(++frame)), "---- 0");
    EXPECT_EQ(picture_of(wait_for_frame(++frame)), "\n           _\n     |_|   _|\n       |  |_\n........\n");
    panel.set_progress(43);
    EXPECT_EQ(picture_of(wait_for_frame(frame += 15)),
              "\n           _\n     |_|   _|\n       |   _|\n........\n");
    EXPECT_EQ(squares_of(wait_for_frame(frame + 1)), "---- 0");
    EXPECT_EQ(squares_of(wait_for_frame(frame + 2)), "^--- 8");
}

TEST_F(serial_panel, stopping_waits_for_the_worker_and_closing_leaves_offl) {
    bring_up();
    panel.start();
    panel.start();
    wait_for_frame(3);
    panel.stop();
    EXPECT_FALSE(panel.is_running());
    const auto at_stop = frames_when_quiet();
    EXPECT_EQ((at_stop - 2) % 16, 0u) << "whole passes behind the first two frames";
    panel.set_progress(7);
    EXPECT_EQ(wait_for_frame(at_stop).mode, 4);

    panel.start();
    EXPECT_EQ(squares_of(wait_for_frame(at_stop + 2)), "^--- 8");
    EXPECT_TRUE(panel.close());
    EXPECT_FALSE(panel.is_running());
    frames_when_quiet();
    EXPECT_EQ(picture_of(module->display()),
              "\n _    _    _\n| |  |_   |_   |\n|_|  |    |    |_\n........\n");
    EXPECT_TRUE(panel.close()) << "a closed line is no reason to complain";
    EXPECT_THROW(panel.clear(), zel::serial_port_exception);
    EXPECT_TRUE(panel.init(true));
    module->vanish();
    EXPECT_THROW(panel.set_progress(1), zel::serial_port_exception);
}

// The module and the worker live in a process of their own that ends as it stands: stopping would wait for
// the rest of a pass. The unit's files are the parent's to remove.
TEST_F(serial_panel, a_module_that_vanishes_while_the_worker_runs_ends_the_process) {
    const auto lose_the_module = [this] {
        bring_up();
        panel.start();
        module->vanish();
        std::this_thread::sleep_for(5s);
        std::_Exit(0);
    };
    EXPECT_EXIT(lose_the_module(), testing::KilledBySignal(SIGABRT), "");
}

}  // namespace
