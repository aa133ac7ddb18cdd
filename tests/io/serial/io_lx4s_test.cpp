#include "io/serial/io_lx4s.h"
#include "io/system.h"
#include "platform/exceptions.h"
#include "platform/paths.h"
#include "sim/peers/serial_module.h"
#include "sim/show/seven_segment_picture.h"
#include "tests/golden.h"
#include "tests/io/driver_test.h"

#include <dlfcn.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using namespace std::chrono_literals;

std::vector<std::pair<int, termios>> asked_of_the_line;

}  // namespace

// Stands before the C library's: a pseudo-terminal makes eight bits without parity of whatever it is asked
// for.
extern "C" int tcsetattr(int fd, int optional_actions, const termios* termios_p) noexcept {
    asked_of_the_line.emplace_back(optional_actions, *termios_p);
    return reinterpret_cast<decltype(&tcsetattr)>(::dlsym(RTLD_NEXT, "tcsetattr"))(fd, optional_actions,
                                                                                   termios_p);
}

namespace {

constexpr std::array<std::uint8_t, 4> off_line{0x3F, 0x71, 0x71, 0x38};

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

    const tests::checked_unit_t unit{"serial-panel"};
    const io::system_t hardware;
    std::optional<sim::serial_module_t> module;
    io::io_lx4s_t panel{15ms};
};

TEST_F(serial_panel, only_a_module_that_answers_as_one_is_taken_and_blanked) {
    const std::string no_reading = "io::io_lx4s: unable to read from serial port";
    const std::string bad_response = "io:lx4s driver: bad response";
    EXPECT_FALSE(panel.init(true)) << "no such device";
    EXPECT_TRUE(last_said(no_reading));
    unit.root.write_file(zel::paths::serial_front_panel, "");
    EXPECT_FALSE(panel.init(true)) << "a device that cannot be set up";
    EXPECT_TRUE(last_said(no_reading));

    const auto& nothing_read = VMIN == 6 ? bad_response : no_reading;
    // The module has half a second.
    const std::pair<sim::serial_manners_t, std::string> modules[] = {
        {{.answer = ""}, nothing_read}, {{.delay = 650ms}, nothing_read}, {{.answer = "D"}, bad_response}};
    for (const auto& [manners, line] : modules) {
        connect_module(manners);
        EXPECT_FALSE(panel.init(true) || panel.is_present());
        EXPECT_TRUE(last_said(line));
        EXPECT_TRUE(module->history().empty());
    }
    connect_module({.delay = 400ms});
    EXPECT_TRUE(panel.init(true) && panel.is_present());
    EXPECT_TRUE(last_said("io::io_lx4s: LX4s driver initialized"));
    EXPECT_EQ(wait_for_frame(0), sim::serial_display_t{});
    for (const auto& [when, wanted] : asked_of_the_line) {
        EXPECT_EQ(when, TCSANOW) << "what waits to be sent is neither waited for nor lost";
        EXPECT_EQ(wanted.c_cflag & (CSIZE | PARENB | CSTOPB | CRTSCTS), tcflag_t{CS8});
    }
    EXPECT_TRUE(std::make_unique<io::io_lx4s_t>(15ms)->init(true));
    EXPECT_EQ(wait_for_frame(2).digits, off_line) << "its end is shown";
}

TEST(serial_panel_guard, nothing_is_sent_on_another_platform_or_by_half_a_bring_up) {
    zel::register_logger("drv_io_lx4s");
    zel::set_logger_level("drv_io_lx4s", "debug");
    for (const auto* const kind : {"base-unit", "serial-panel"}) {
        const bool has_panel = kind == std::string{"serial-panel"};
        const tests::checked_unit_t unit{kind};
        const io::system_t hardware;
        const sim::pseudo_terminal_t line;
        unit.root.remove_file(zel::paths::serial_front_panel);
        std::filesystem::create_symlink(line.path(), unit.root.file(zel::paths::serial_front_panel));
        io::io_lx4s_t panel;
        EXPECT_EQ(panel.init(!has_panel), has_panel);
        EXPECT_TRUE(unit.log.text().ends_with(has_panel ? "[debug] io::io_lx4s: LX4s driver!!\n"
                                                        : "[debug] io::io_lx4s: This is not an LX-4s!!\n"));
        char byte = 0;
        EXPECT_EQ(::read(line.our_end(), &byte, 1), -1) << kind << " was sent " << +byte;
        EXPECT_FALSE(panel.is_present());
    }
}

TEST_F(serial_panel, numbers_are_drawn_at_once_squares_by_the_worker_in_whole_passes_and_offl_at_the_end) {
    bring_up();
    for (const int percent : {123, 456, 789, 100, 42, 5, 2123}) {
        EXPECT_TRUE(panel.set_progress(percent));
    }
    EXPECT_FALSE(panel.set_progress(-1) || panel.draw_progress(-1));
    EXPECT_TRUE(panel.clear());
    panel.start();
    panel.start();
    panel.set_progress(41);
    panel.set_progress(42);
    EXPECT_FALSE(panel.set_progress(-1));
    wait_for_frame(9 + 1 + 16 + 1 + 16 + 1 + 3);  // a pass, the number, and some of the next pass
    panel.stop();
    EXPECT_FALSE(panel.is_running());
    panel.set_progress(7);
    panel.start();
    wait_for_frame(9 + 1 + 16 + 1 + 16 + 1 + 16 + 1 + 1);
    EXPECT_TRUE(panel.close());
    EXPECT_FALSE(panel.is_running());
    while (module->wait_for_frames(module->history().size() + 1, 100ms)) {
    }
    std::string frames;
    for (const auto& [at, display] : module->history()) {
        frames += sim::seven_segment_text(display) + "mode " + std::to_string(display.mode) + "\n\n";
    }
    EXPECT_EQ(frames, tests::golden_text("serial_panel.txt", frames));

    const auto before = module->history().size();
    EXPECT_TRUE(panel.init(true));
    EXPECT_EQ(wait_for_frame(before).digits, off_line) << "again";
    EXPECT_TRUE(panel.close() && panel.close()) << "a closed line is no reason to complain";
    EXPECT_THROW(panel.clear(), zel::serial_port_exception);
    EXPECT_TRUE(panel.init(true));
    module->vanish();
    EXPECT_THROW(panel.set_progress(1), zel::serial_port_exception);
}

TEST_F(serial_panel, a_newer_value_replaces_the_one_that_the_worker_shows) {
    bring_up();
    const auto begun = std::chrono::steady_clock::now();
    panel.start();
    panel.set_progress(42);
    constexpr std::size_t first_number = 1 + 1 + 16 + 1;  // after init, start, a pass and a blank
    const auto older = wait_for_frame(first_number);
    panel.set_progress(43);
    const auto newer = wait_for_frame(first_number + 15);
    EXPECT_TRUE(older.mode == 4 && newer.mode == 4 && newer != older);
    EXPECT_EQ(wait_for_frame(first_number + 16), sim::serial_display_t{});
    EXPECT_GE(std::chrono::steady_clock::now() - begun, 30 * 15ms) << "a pass and the number, in 32 periods";
    EXPECT_NE(wait_for_frame(first_number + 36).mode, 4) << "it has no turn of its own after the next pass";
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
