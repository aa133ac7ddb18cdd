#include "ipc/frame.h"
#include "sim/display_view.h"
#include "sim/front_panel_block.h"
#include "sim/shared_state.h"
#include "sim/unit.h"
#include "tests/temporary_directory.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// What the daemon still reports while something around it fails, and that nothing of the fault stays with it.

namespace {

namespace fs = std::filesystem;
using sim::unit_t;

constexpr const char* state = "/sys/fw_status/state";
constexpr const char* progress = "/sys/fw_status/progress";
constexpr const char* detail = "/sys/fw_status/detail";

/// What works: the daemon hears of changes; it writes the file; it notifies.
struct works_t {
    bool news = true;
    bool file = true;
    bool notifications = true;
};
constexpr works_t everything{};

bool was_notified(unit_t& unit, const std::string& percent) {
    for (const auto& notification : unit.notifications().received_so_far()) {
        if (notification == sim::notification_t{sim::notification_t::kind_e::progress, percent}) {
            return true;
        }
    }
    return false;
}

sim::unit_builder_t in_the_middle_of_an_update(const char* kind) {
    return std::move(sim::unit_builder_t{kind}.prepared_by([](unit_t& unit) {
        unit.engine().set(state, "fw_write");
        unit.engine().set(progress, "10");
    }));
}

/// Publishes a percentage and checks that it goes wherever it can go; where there is no news, the old one.
void expect_report(unit_t& unit, const works_t& works, const std::string& percent, const std::string& old) {
    unit.notifications().forget_received();
    unit.engine().set(progress, percent);
    const auto& shown = works.news ? percent : old;
    if (works.file) {
        EXPECT_TRUE(sim::wait_until([&] { return unit.status().element("progress") == shown; }))
            << shown << " is not in the file: " << unit.status().text();
        EXPECT_TRUE(unit.run_passes(10));
    }
    if (works.notifications) {
        EXPECT_TRUE(sim::wait_until([&] { return was_notified(unit, shown); })) << shown;
    }
    EXPECT_TRUE(unit.daemon().is_running());
}

/// What the daemon holds at one time, to compare with later.
class holdings_t {
  public:
    explicit holdings_t(const sim::daemon_process_t& daemon)
        : daemon_{daemon}, descriptors_{daemon.open_descriptors()}, resident_{daemon.resident_bytes()} {}

    void expect_no_more(int more_descriptors = 0) const {
        // Buffers that once held the longest messages keep their size.
        constexpr long buffers = 1 << 20;
        // A pass may be holding the status file open right now.
        EXPECT_TRUE(sim::wait_until([&] {
            return daemon_.open_descriptors() <= descriptors_ + more_descriptors;
        })) << daemon_.open_descriptors()
            << " descriptors, " << descriptors_ << " before";
        EXPECT_LT(daemon_.resident_bytes(), resident_ + buffers);
    }

  private:
    const sim::daemon_process_t& daemon_;
    int descriptors_;
    long resident_;
};

// System calls that fail, by strace's fault injection.

/// Every system call that a service pass makes, and the ways in which each is made to fail.
struct failing_call_t {
    const char* name;
    const char* call;
    const char* error;
    const char* when;  ///< "N+": from the daemon's Nth such call on; "N+2": every other of these
    works_t works_meanwhile;
};

constexpr failing_call_t failing_calls[]{
    {"poll_fails", "poll", "ENOMEM", "60+", {.news = false, .notifications = false}},
    {"poll_is_interrupted", "poll", "EINTR", "60+2", everything},
    {"the_engine_cannot_be_read", "recvfrom", "ECONNRESET", "30+", {.news = false}},
    {"reading_the_engine_is_interrupted", "recvfrom", "EINTR", "30+2", everything},
    {"the_file_system_is_full", "openat", "ENOSPC", "40+", {.file = false}},
    {"the_file_system_is_read_only", "openat", "EROFS", "40+", {.file = false}},
    {"no_descriptor_is_left", "openat", "EMFILE", "40+", {.file = false}},
    {"the_file_cannot_be_written", "write", "ENOSPC", "40+", {.file = false}},
    {"the_disk_is_broken", "write", "EIO", "40+", {.file = false}},
    {"writing_is_interrupted", "write", "EINTR", "40+2", everything},
    {"closing_fails_now_and_then", "close", "EIO", "40+20", everything},
    {"the_notification_service_has_gone", "sendto", "EPIPE", "60+", {.notifications = false}},
    {"there_is_no_memory_to_send", "sendto", "ENOBUFS", "60+", {.notifications = false}},
    {"sending_is_interrupted", "sendto", "EINTR", "60+3", everything},
    {"no_pass_ends_with_a_nap", "clock_nanosleep", "EINTR", "40+", everything},
};

constexpr std::array<std::string_view, 3> calls_for_file{"openat", "write", "close"};

// Why strace cannot do its work here; empty when it can.
std::string strace_is_missing() {
    if (!sim::emulator_command().empty()) {
        return "the system calls to be seen would be the emulator's";
    }
    const int status = std::system("strace -D -o /dev/null true 2>/dev/null");  // NOLINT(cert-env33-c)
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) {
        return {};
    }
    const bool is_filtered = tests::read_file("/proc/self/status").find("Seccomp:\t2") != std::string::npos;
    const bool is_forbidden = tests::read_file("/proc/sys/kernel/yama/ptrace_scope").starts_with('3');
    EXPECT_TRUE(is_filtered || is_forbidden) << "strace does not run, although nothing forbids it to trace";
    return "this machine lets nobody trace a process: ptrace is switched off or filtered";
}

std::vector<std::string> under_strace(unit_t& unit, const std::vector<std::string>& arguments) {
    std::vector<std::string> command{"strace", "-D",      "-f", "-q",
                                     "-I",     "waiting", "-o", unit.root().file("/sim/strace")};
    // The leak checker is a tracer of its own, and there is room for one.
    command.insert(command.end(), {"-E", "ASAN_OPTIONS=detect_leaks=0"});
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

class service_pass : public testing::TestWithParam<failing_call_t> {};

TEST_P(service_pass, reports_what_it_can_while_a_system_call_fails) {
    if (const auto reason = strace_is_missing(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    const auto& [name, call, error, when, works_meanwhile] = GetParam();
    auto unit = in_the_middle_of_an_update("container").without_daemon().start();
    std::vector<std::string> how{"-e", std::string{"trace="} + call, "-e",
                                 std::string{"inject="} + call + ":error=" + error + ":when=" + when};
    if (std::ranges::find(calls_for_file, call) != calls_for_file.end()) {
        // The same call for anything else is let be: a sanitizer writes into a pipe to look at memory.
        how.insert(how.end(), {"-P", unit->root().file("/usr/zel/www/fw_status.xml")});
    }
    ASSERT_EQ(unit->start_daemon(under_strace(*unit, how)), 0);
    int news = 0;
    ASSERT_TRUE(sim::wait_until([&] {
        unit->engine().set(detail, std::to_string(++news));  // something to read, for the call that reads
        return unit->root().read_file("/sim/strace").find("(INJECTED)") != std::string::npos;
    })) << unit->console();
    const holdings_t holdings{unit->daemon()};

    expect_report(*unit, works_meanwhile, "50", "10");
    unit->daemon().end_companion();
    expect_report(*unit, everything, "77", "");
    // A call that strace lets fail is not made: what should have been closed stays open.
    holdings.expect_no_more(call == std::string_view{"close"} ? 100 : 0);
    EXPECT_EQ(unit->notifications().counts().begins, 1u);
}

INSTANTIATE_TEST_SUITE_P(that, service_pass, testing::ValuesIn(failing_calls),
                         [](const auto& test) { return std::string{test.param.name}; });

// The name of the call in a line of strace; empty for the end of a call that another thread interrupted.
std::string call_in(const std::string& line) {
    const auto begin = line.find_first_not_of("0123456789 ");
    return begin == std::string::npos ? "" : line.substr(begin, line.find_first_of("(< ", begin) - begin);
}

class every_pass : public testing::TestWithParam<const char*> {};

TEST_P(every_pass, makes_the_calls_that_are_made_to_fail_and_no_other) {
    if (const auto reason = strace_is_missing(); !reason.empty()) {
        GTEST_SKIP() << reason;
    }
    std::set<std::string> known;
    for (const auto& failing : failing_calls) {
        known.insert(failing.call);
    }
    auto unit = in_the_middle_of_an_update(GetParam()).without_daemon().start();
    ASSERT_EQ(unit->start_daemon(under_strace(*unit, {})), 0);
    ASSERT_TRUE(unit->run_passes(20));
    const auto start = unit->root().read_file("/sim/strace").size();
    unit->engine().set(detail, "Block 2 of 9");
    ASSERT_TRUE(unit->run_passes(50));
    std::istringstream trace{unit->root().read_file("/sim/strace").substr(start)};
    std::set<std::string> seen;
    std::string line;
    std::getline(trace, line);  // from somewhere in its middle
    while (std::getline(trace, line)) {
        if (const auto call = call_in(line); !call.empty()) {
            seen.insert(call);
            EXPECT_TRUE(known.contains(call)) << line;
        }
    }
    EXPECT_EQ(seen.size(), known.size());
}

INSTANTIATE_TEST_SUITE_P(on, every_pass,
                         testing::Values("container", "base-unit", "page-station", "serial-panel"),
                         [](const auto& test) {
                             std::string name{test.param};
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name;
                         });

// Faults around the daemon, at the ends of its sockets, in its files and in its hardware.

using sim::spi_fault_e;

// Members in the order of what happens.
struct fault_t {  // NOLINT(clang-analyzer-optin.performance.Padding)
    const char* name;
    const char* kind;
    void (*begin)(unit_t& unit);
    works_t works_meanwhile;
    void (*end)(unit_t& unit);
    works_t works_after;
};

std::string repeated(std::string_view text, int count) {
    std::string all;
    for (int i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

sim::spi_link_t& panel_link() {
    return sim::shared_state<sim::front_panel_state_t>("front_panel").link;
}

const fault_t faults[]{
    {"the_directory_is_missing",
     "container",
     [](unit_t& unit) { fs::rename(unit.root().file("/usr/zel/www"), unit.root().file("/away")); },
     {.file = false},
     [](unit_t& unit) { fs::rename(unit.root().file("/away"), unit.root().file("/usr/zel/www")); },
     everything},
    {"nobody_reads_notifications",
     "container",
     [](unit_t& unit) {
         unit.notifications().stall(true);
         EXPECT_TRUE(unit.run_passes(400));  // enough to fill the socket
     },
     {.notifications = false},
     [](unit_t& unit) { unit.notifications().stall(false); },
     everything},
    {"the_notification_service_resets_its_connections",
     "container",
     [](unit_t& unit) {
         unit.notifications().stall(true);
         EXPECT_TRUE(unit.run_passes(50));
         unit.notifications().shut_down();  // with bytes unread: a reset
     },
     {.notifications = false},
     [](unit_t& unit) {
         unit.notifications().stall(false);
         EXPECT_TRUE(unit.notifications().start());
     },
     {.notifications = false}},  // it connects once, at its start
    {"the_engine_sends_100000_changes", "container",
     [](unit_t& unit) {
         unit.engine().send_raw(repeated(zel::frame::encode({"changed", progress, "33"}), 100'000));
     },
     everything, [](unit_t&) {}, everything},
    {"the_engine_sends_half_a_million_half_frames",
     "container",
     [](unit_t& unit) { unit.engine().send_raw(repeated("ipc_magic\xff\xff\x07", 500'000)); },
     {.news = false},
     // The rest of the last half frame, and everybody is in step again.
     [](unit_t& unit) { unit.engine().send_raw(std::string(70'000, '.')); },
     everything},
    {"the_engine_dies",
     "container",
     [](unit_t& unit) { unit.engine().shut_down(); },
     {.news = false},
     [](unit_t& unit) { EXPECT_TRUE(unit.engine().start()); },
     {.news = false}},  // it connects once, at its start
    {"the_panel_stops_answering", "base-unit", [](unit_t&) { panel_link().fault = spi_fault_e::never_done; },
     everything, [](unit_t&) { panel_link().fault = spi_fault_e::none; }, everything},
    {"the_panel_stays_busy", "base-unit", [](unit_t&) { panel_link().fault = spi_fault_e::busy_for_ever; },
     everything, [](unit_t&) { panel_link().fault = spi_fault_e::none; }, everything},
};

class troubled_daemon : public testing::TestWithParam<fault_t> {};

TEST_P(troubled_daemon, reports_what_it_can_and_is_itself_again) {
    const auto& fault = GetParam();
    auto unit = in_the_middle_of_an_update(fault.kind).start();
    const auto display = sim::make_display_view(*unit);
    const auto picture = [&] {
        return display ? display->pixels().colours : std::vector<sim::pixels_t::colour_t>{};
    };
    expect_report(*unit, everything, "77", "");
    const auto shown = picture();
    expect_report(*unit, everything, "10", "");
    const holdings_t holdings{unit->daemon()};

    fault.begin(*unit);
    expect_report(*unit, fault.works_meanwhile, "50", "10");
    fault.end(*unit);
    expect_report(*unit, fault.works_after, "77", "10");
    EXPECT_TRUE(sim::wait_until([&] { return picture() == shown; }));
    holdings.expect_no_more();
}

INSTANTIATE_TEST_SUITE_P(when, troubled_daemon, testing::ValuesIn(faults),
                         [](const auto& test) { return std::string{test.param.name}; });

TEST(an_engine_that_never_pauses, does_not_keep_the_daemon_from_its_passes) {
    auto unit = in_the_middle_of_an_update("container").start();
    ASSERT_TRUE(unit->run_passes(1));
    const auto before = unit->status().counters().rewrites;
    // The shortest message there is, 60 MB of it. A pass takes less than a megabyte.
    unit->engine().send_raw(repeated(zel::frame::encode({"", "", ""}), 3'500'000));
    EXPECT_GT(unit->status().counters().rewrites, before + 60);
    expect_report(*unit, everything, "50", "10");
}

}  // namespace
