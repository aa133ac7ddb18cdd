#include "sim/fpga.h"
#include "sim/unit.h"
#include "tests/temporary_directory.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>

// Cases of the whole daemon on units without a display: what it publishes, how it detaches, and what it lives
// through.

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using sim::notification_t;
using kind_e = sim::notification_t::kind_e;

constexpr const char* state = "/sys/fw_status/state";
constexpr const char* progress = "/sys/fw_status/progress";
constexpr const char* detail = "/sys/fw_status/detail";

std::string proc_file(sim::unit_t& unit, const char* name) {
    return tests::read_file("/proc/" + std::to_string(unit.daemon().pid()) + "/" + name);
}

std::string link(sim::unit_t& unit, const std::string& name) {
    return fs::read_symlink("/proc/" + std::to_string(unit.daemon().pid()) + "/" + name);
}

TEST(daemon, detaches_into_a_session_of_its_own) {
    auto unit = sim::unit_builder_t{"container"}.start();
    ASSERT_TRUE(unit->run_passes(1));
    const pid_t pid = unit->daemon().pid();
    EXPECT_EQ(::getsid(pid), pid);
    EXPECT_EQ(link(*unit, "cwd"), "/");
    EXPECT_NE(proc_file(*unit, "status").find("Umask:\t0000"), std::string::npos);
    EXPECT_EQ(link(*unit, "fd/0"), "/dev/null");
    EXPECT_EQ(link(*unit, "fd/1"), unit->root().file("/sim/console"));
    EXPECT_EQ(link(*unit, "fd/1"), link(*unit, "fd/2"));
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
    EXPECT_EQ(unit->notifications().counts().progresses, 0u) << "nothing is sent while idle";

    unit->engine().set(state, "initializing");
    ASSERT_TRUE(unit->run_passes(3));
    unit->engine().set(progress, "0x20");
    unit->engine().set(detail, "Block 3 of 9");
    unit->engine().set(state, "fw_write");
    ASSERT_TRUE(sim::wait_until([&] { return unit->status().element("state") == "fw_write"; }));
    EXPECT_EQ(unit->status().text(), "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n"
                                     "<status>\r\n"
                                     "  <state>fw_write</state>\r\n"
                                     "  <progress>32</progress>\r\n"
                                     "  <detail>Block 3 of 9</detail>\r\n"
                                     "</status>\r\n");
    unit->engine().set(state, "idle");
    ASSERT_TRUE(unit->run_passes(3));
    unit->engine().set(state, "error");
    ASSERT_TRUE(sim::wait_until([&] { return unit->notifications().counts().begins == 2; }));

    const auto received = unit->notifications().received_so_far();
    ASSERT_GE(received.size(), 3u);
    EXPECT_EQ(received[0], (notification_t{kind_e::begin, ""}));
    EXPECT_EQ(received[1], (notification_t{kind_e::state, "Initializing"}));
    EXPECT_EQ(received[2], (notification_t{kind_e::progress, "-1"}));
    EXPECT_EQ(received[3], (notification_t{kind_e::state, "Initializing"}));
    EXPECT_EQ(unit->notifications().counts().garbage_bytes, 0u);
}

TEST(daemon, started_in_the_middle_of_an_update_announces_it) {
    auto unit = sim::unit_builder_t{"container"}
                    .prepared_by([](sim::unit_t& prepared) {
                        prepared.engine().set(state, "fpga_write");
                        prepared.engine().set(progress, "64");
                    })
                    .start();
    ASSERT_TRUE(sim::wait_until([&] { return unit->status().element("progress") == "64"; }));
    ASSERT_TRUE(sim::wait_until([&] { return unit->notifications().counts().begins == 1; }));
}

TEST(daemon, without_an_engine_ends_with_255_and_with_an_unknown_platform_abnormally) {
    auto unit = sim::unit_builder_t{"container"}.without_engine().without_daemon().start();
    EXPECT_EQ(unit->start_daemon(), 255);
    EXPECT_NE(unit->log().find("platform_t unable to read platform information from property engine."),
              std::string::npos);

    auto strange = sim::unit_builder_t{"container"}.without_daemon().start();
    strange->engine().set("/sys/config/platform", "toaster");
    EXPECT_EQ(strange->start_daemon(), 128 + SIGABRT);
    EXPECT_NE(strange->console().find("map::at"), std::string::npos);
}

TEST(daemon, lives_on_with_its_last_values_when_the_engine_dies_in_the_middle_of_a_frame) {
    auto unit = sim::unit_builder_t{"container"}.start();
    unit->engine().set(state, "fw_write");
    unit->engine().set(progress, "41");
    ASSERT_TRUE(sim::wait_until([&] { return unit->status().element("progress") == "41"; }));
    unit->engine().send_raw("garbage ipc_magic");
    ASSERT_TRUE(unit->run_passes(2));
    unit->engine().half_close_clients();
    ASSERT_TRUE(unit->run_passes(2));
    unit->engine().shut_down();
    ASSERT_TRUE(unit->run_passes(5));
    EXPECT_EQ(unit->status().element("progress"), "41");
    EXPECT_TRUE(unit->daemon().is_running());
}

TEST(daemon, lives_on_when_the_notification_service_stalls_dies_or_was_never_there) {
    auto unit = sim::unit_builder_t{"container"}.start();
    ASSERT_TRUE(unit->run_passes(1));
    unit->notifications().stall(true);
    unit->engine().set(state, "fw_write");
    // Enough passes to fill the socket's buffer, whatever its size on this machine.
    ASSERT_TRUE(unit->run_passes(300));
    unit->notifications().stall(false);
    ASSERT_TRUE(unit->run_passes(50));
    EXPECT_EQ(unit->notifications().counts().begins, 1u);
    unit->notifications().shut_down();
    ASSERT_TRUE(unit->run_passes(5));
    const int descriptors = unit->daemon().open_descriptors();
    ASSERT_TRUE(unit->notifications().start());
    ASSERT_TRUE(unit->run_passes(20));
    EXPECT_EQ(unit->notifications().counts().garbage_bytes, 0u);
    EXPECT_EQ(unit->daemon().open_descriptors(), descriptors) << "no second connection, and no leak";

    auto without = sim::unit_builder_t{"container"}.without_notification_service().start();
    without->engine().set(state, "complete");
    ASSERT_TRUE(without->run_passes(5));
    EXPECT_EQ(without->status().element("state"), "complete");
}

TEST(daemon, writes_the_status_file_again_once_its_directory_is_back) {
    auto unit = sim::unit_builder_t{"container"}.start();
    ASSERT_TRUE(unit->run_passes(1));
    const auto directory = unit->root().file("/usr/zel/www");
    fs::rename(directory, directory + "-away");
    std::this_thread::sleep_for(100ms);
    fs::remove(directory + "-away/fw_status.xml");
    fs::rename(directory + "-away", directory);
    EXPECT_TRUE(sim::wait_until([&] { return fs::exists(directory + "/fw_status.xml"); }));
}

TEST(production_daemon, holds_nothing_of_the_simulated_unit) {
    const auto program = tests::read_file(sim::built_program("daemon", "fwstatus"));
    ASSERT_GT(program.size(), 10'000u);
    for (const auto* const trace : {"_ZN3sim", "FWSTATUS_UNIT_ROOT", "FWSTATUS_"}) {
        EXPECT_EQ(program.find(trace), std::string::npos) << trace;
    }
    const auto simulated = tests::read_file(sim::built_program("sim", "fwstatus-sim"));
    EXPECT_NE(simulated.find("FWSTATUS_UNIT_ROOT"), std::string::npos) << "the search itself works";
}

}  // namespace
