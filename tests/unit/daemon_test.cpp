#include "sim/unit/unit.h"
#include "tests/property_names.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

// Cases of the whole daemon on units without a display: what it publishes and how it detaches.

namespace {

namespace fs = std::filesystem;
using sim::notification_t;
using kind_e = sim::notification_t::kind_e;

std::string link(sim::unit_t& unit, const std::string& name) {
    return fs::read_symlink("/proc/" + std::to_string(unit.daemon().pid()) + "/" + name);
}

TEST(daemon, detaches_into_a_session_of_its_own) {
    auto unit = sim::unit_builder_t{"container"}.start();
    ASSERT_TRUE(unit->run_passes(1));
    const pid_t pid = unit->daemon().pid();
    EXPECT_EQ(::getsid(pid), pid);
    EXPECT_EQ(link(*unit, "cwd"), "/");
    const auto status = sim::read_file("/proc/" + std::to_string(pid) + "/status");
    EXPECT_NE(status.find("Umask:\t0000"), std::string::npos);
    const auto ignored = std::stoull(status.substr(status.find("SigIgn:") + 7), nullptr, 16);
    EXPECT_NE(ignored & 1U << (SIGPIPE - 1), 0U);  // whoever started us may have others ignored
    EXPECT_EQ(link(*unit, "fd/0"), "/dev/null");
    EXPECT_EQ(link(*unit, "fd/1"), unit->root().file("/sim/console"));
    EXPECT_EQ(link(*unit, "fd/1"), link(*unit, "fd/2"));
    // Whatever was inherited stays open over an exec, what the daemon opens for itself does not.
    std::error_code gone;  // the status file comes and goes
    const auto of = "/proc/" + std::to_string(pid);
    for (const auto& one : fs::directory_iterator{of + "/fd"}) {
        if (fs::read_symlink(one, gone) == "/dev/null") {
            const auto about = sim::read_file(of + "/fdinfo/" + one.path().filename().string());
            const auto flags = std::stoul(about.substr(about.find("flags:") + 6), nullptr, 8);
            EXPECT_EQ(flags & O_CLOEXEC, 0U) << "one more than standard input: " << one.path();
        }
    }
}

TEST(daemon, started_without_descriptors_prints_into_nothing_it_opened) {
    if (!sim::emulator_command().empty()) {
        GTEST_SKIP() << "an emulator opens files of its own before the daemon can";
    }
    auto unit = sim::unit_builder_t{"container"}.without_daemon().start();
    ASSERT_EQ(unit->start_daemon({"sh", "-c", "exec \"$@\" <&- >&- 2>&-", "sh"}), 0);
    ASSERT_TRUE(unit->run_passes(1));
    for (const auto* const descriptor : {"fd/0", "fd/1", "fd/2"}) {
        EXPECT_EQ(link(*unit, descriptor), "/dev/null") << descriptor;
    }
}

TEST(daemon, publishes_an_update_in_file_and_notifications) {
    auto unit = sim::unit_builder_t{"container"}.start();
    ASSERT_TRUE(unit->run_passes(3));
    EXPECT_EQ(unit->status().element("state"), "idle");
    EXPECT_TRUE(fs::exists(unit->root().file("/usr/zel/www/fw_status.xml")));
    EXPECT_EQ(unit->notifications().counts().progresses, 0u) << "nothing is sent while idle";

    unit->engine().set(properties::state, "initializing");
    ASSERT_TRUE(unit->run_passes(3));
    unit->engine().set(properties::progress, "0x20");
    unit->engine().set(properties::detail, "Block 3 of 9");
    unit->engine().set(properties::state, "fw_write");
    ASSERT_TRUE(sim::wait_until([&] { return unit->status().element("state") == "fw_write"; }));
    EXPECT_EQ(unit->status().element("progress") + unit->status().element("detail"), "32Block 3 of 9");
    unit->engine().set(properties::state, "idle");
    ASSERT_TRUE(unit->run_passes(3));
    unit->engine().set(properties::state, "error");
    ASSERT_TRUE(sim::wait_until([&] { return unit->notifications().counts().begins == 2; }));

    auto received = unit->notifications().received_so_far();
    received.resize(4);
    EXPECT_EQ(received, (std::vector<notification_t>{{kind_e::begin, ""},
                                                     {kind_e::state, "Initializing"},
                                                     {kind_e::progress, "-1"},
                                                     {kind_e::state, "Initializing"}}));
    EXPECT_EQ(unit->notifications().counts().garbage_bytes, 0u);
}

TEST(daemon, without_an_engine_ends_with_255_and_with_an_unknown_platform_abnormally) {
    auto unit = sim::unit_builder_t{"container"}.without_engine().without_daemon().start();
    EXPECT_EQ(unit->start_daemon(), 255);
    EXPECT_NE(unit->log().find("platform_t unable to read platform information from property engine."),
              std::string::npos);

    auto silent = sim::unit_builder_t{"container"}.without_daemon().start();
    silent->engine().stay_silent(true);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(silent->start_daemon(), 255);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds{1950}) << "a second, twice";

    auto strange = sim::unit_builder_t{"container"}.without_daemon().start();
    strange->engine().set("/sys/config/platform", "toaster");
    EXPECT_EQ(strange->start_daemon(), 128 + SIGABRT);
    EXPECT_NE(strange->console().find("map::at"), std::string::npos);
}

TEST(daemon, logs_at_the_levels_of_its_level_file) {
    auto unit = sim::unit_builder_t{"container"}.without_daemon().start();
    unit->root().write_file("/var/rwfs2/log_level.fwstatus-sim.json",
                            R"({"git_revision":"3f9c2d1","fwstatus-sim":{"drv_io":"trace"}})");
    ASSERT_EQ(unit->start_daemon({"env", "-u", "SPDLOG_LEVEL"}), 0);
    EXPECT_NE(unit->log().find("[drv_io] [trace] IO system -- Platform: "), std::string::npos) << unit->log();
}

pid_t child_of(pid_t parent) {
    const auto id = std::to_string(parent);
    const auto children = sim::read_file("/proc/" + id + "/task/" + id + "/children");
    return static_cast<pid_t>(std::strtol(children.c_str(), nullptr, 10));
}

TEST(supervised_daemon, is_started_again_when_it_was_killed) {
    auto unit = sim::unit_builder_t{"container"}.without_daemon().start();
    unit->root().write_file("/var/run/fwstatus-sim-failsafe.pid", "1\n");
    ASSERT_EQ(unit->start_daemon({"sh", "-c", "exec \"$@-failsafe\"", "sh"}), 0);
    ASSERT_TRUE(unit->run_passes(1));
    const pid_t supervisor = unit->daemon().pid();
    const pid_t first = child_of(supervisor);
    ASSERT_GT(first, 0);
    const auto start = std::chrono::steady_clock::now();
    ::kill(first, SIGKILL);
    ASSERT_TRUE(sim::wait_until([&] { return child_of(supervisor) != first && child_of(supervisor) > 0; }));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds{990});
    EXPECT_TRUE(unit->run_passes(1));
    EXPECT_FALSE(fs::exists(unit->root().file("/var/run/fwstatus-sim-failsafe.pid")));
    EXPECT_NE(unit->log().find("[eng_daemon] [debug] Failsafe mode restarting (1)"), std::string::npos);
    const pid_t second = child_of(supervisor);
    unit->daemon().kill();
    ::kill(second, SIGKILL);
}

TEST(production_daemon, holds_nothing_of_the_simulated_unit) {
    const auto program = sim::read_file(sim::built_program("daemon", "fwstatus"));
    EXPECT_EQ(program.find("_ZN3sim"), std::string::npos);
    EXPECT_EQ(program.find("FWSTATUS_"), std::string::npos);
    EXPECT_NE(program.find("fw_status"), std::string::npos) << "the search itself works";
}

}  // namespace
