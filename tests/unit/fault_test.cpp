#include "sim/show/display_view.h"
#include "sim/unit/faults.h"
#include "sim/unit/unit.h"
#include "tests/property_names.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

// What the daemon still reports while something around it fails, and that nothing of the fault stays with it.

namespace {

using sim::unit_t;
using sim::works_t;

constexpr works_t everything{};

sim::unit_builder_t in_the_middle_of_an_update(std::string_view kind) {
    return std::move(sim::unit_builder_t{kind}.prepared_by([](unit_t& unit) {
        unit.engine().set(properties::state, "fw_write");
        unit.engine().set(properties::progress, "10");
    }));
}

/// Publishes a percentage and checks that it goes wherever it can go; where there is no news, the old one.
void expect_report(unit_t& unit, const works_t& works, const std::string& percent, const std::string& old) {
    unit.notifications().forget_received();
    unit.engine().set(properties::progress, percent);
    const auto& shown = works.news ? percent : old;
    if (works.file) {
        EXPECT_TRUE(sim::wait_until([&] { return unit.status().element("progress") == shown; }))
            << shown << " is not in the file: " << unit.status().text();
        EXPECT_TRUE(unit.run_passes(10));
    }
    if (works.notifications) {
        const sim::notification_t wanted{sim::notification_t::kind_e::progress, shown};
        EXPECT_TRUE(sim::wait_until([&] {
            return std::ranges::count(unit.notifications().received_so_far(), wanted) != 0;
        })) << shown;
    }
    EXPECT_TRUE(unit.daemon().is_running());
}

/// What the daemon holds at one time, to compare with later.
struct holdings_t {
    explicit holdings_t(const sim::daemon_process_t& daemon)
        : descriptors{daemon.lasting_descriptors()}, resident{daemon.resident_bytes()} {}

    int descriptors;
    long resident;
};

void expect_no_more(const holdings_t& now, const holdings_t& before, int more_descriptors = 0) {
    EXPECT_LE(now.descriptors, before.descriptors + more_descriptors);
    EXPECT_LT(now.resident, before.resident + (4 << 20))
        << "buffers that held the longest messages keep their size";
}

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
    {"the_file_system_is_read_only", "openat", "EROFS", "40+", {.file = false}},
    {"the_file_system_is_full", "openat", "ENOSPC", "40+", {.file = false}},
    {"the_file_cannot_be_written", "write", "ENOSPC", "40+", {.file = false}},
    {"writing_is_interrupted", "write", "EINTR", "40+2", everything},
    {"closing_fails_now_and_then", "close", "EIO", "40+20", everything},
    {"the_notification_service_has_gone", "sendto", "EPIPE", "60+", {.notifications = false}},
    {"sending_is_interrupted", "sendto", "EINTR", "60+3", everything},
    {"no_pass_ends_with_a_nap", "clock_nanosleep", "EINTR", "40+", everything},
};

class traced : public testing::Test {
  protected:
    void SetUp() override {
        if (!sim::emulator_command().empty()) {
            GTEST_SKIP() << "the system calls to be seen would be the emulator's";
        }
        if (std::system("strace -D -o /dev/null true 2>/dev/null") != 0) {  // NOLINT(cert-env33-c)
            EXPECT_TRUE(sim::read_file("/proc/self/status").find("Seccomp:\t2") != std::string::npos ||
                        sim::read_file("/proc/sys/kernel/yama/ptrace_scope").starts_with('3'))
                << "strace does not run, although nothing forbids it to trace";
            GTEST_SKIP() << "this machine lets nobody trace a process: ptrace is switched off or filtered";
        }
    }
};

std::vector<std::string> under_strace(unit_t& unit, const std::vector<std::string>& arguments) {
    std::vector<std::string> command{"strace", "-Dfq", "-Iwaiting", "-o" + unit.root().file("/sim/strace")};
    command.emplace_back("-EASAN_OPTIONS=detect_leaks=0");  // a tracer of its own, and there is room for one
    command.insert(command.end(), arguments.begin(), arguments.end());
    return command;
}

class service_pass : public traced, public testing::WithParamInterface<failing_call_t> {};

TEST_P(service_pass, reports_what_it_can_while_a_system_call_fails) {
    const auto& [name, call, error, when, works_meanwhile] = GetParam();
    auto unit = in_the_middle_of_an_update("container").without_daemon().start();
    std::vector<std::string> how{"-e", std::string{"trace="} + call, "-e",
                                 std::string{"inject="} + call + ":error=" + error + ":when=" + when};
    if (std::set<std::string>{"openat", "write", "close"}.contains(call)) {
        // The same call for anything else is let be: a sanitizer writes into a pipe to look at memory.
        how.insert(how.end(), {"-P", unit->root().file("/usr/zel/www/fw_status.xml")});
    }
    ASSERT_EQ(unit->start_daemon(under_strace(*unit, how)), 0);
    ASSERT_TRUE(sim::wait_until([&, news = 0]() mutable {
        unit->engine().set(properties::detail,
                           std::to_string(++news));  // something to read, for the call that reads
        std::this_thread::sleep_for(
            std::chrono::milliseconds{20});  // and no more than a traced process can take
        return unit->root().read_file("/sim/strace").find("(INJECTED)") != std::string::npos;
    })) << unit->console();
    const holdings_t holdings{unit->daemon()};

    expect_report(*unit, works_meanwhile, "50", "10");
    unit->daemon().end_companion();
    expect_report(*unit, everything, "77", "");
    // A call that strace lets fail is not made: what should have been closed stays open.
    expect_no_more(holdings_t{unit->daemon()}, holdings, call == std::string_view{"close"} ? 100 : 0);
    EXPECT_EQ(unit->notifications().counts().begins, 1u);
}

INSTANTIATE_TEST_SUITE_P(that, service_pass, testing::ValuesIn(failing_calls),
                         [](const auto& test) { return std::string{test.param.name}; });

TEST_F(traced, pass_makes_the_calls_that_are_made_to_fail_and_no_other) {
    std::set<std::string> known;
    for (const auto& failing : failing_calls) {
        known.insert(failing.call);
    }
    for (const auto* const kind : {"container", "base-unit", "page-station", "serial-panel"}) {
        auto unit = in_the_middle_of_an_update(kind).without_daemon().start();
        ASSERT_EQ(unit->start_daemon(under_strace(*unit, {})), 0);
        ASSERT_TRUE(unit->run_passes(20));
        const auto start = unit->root().read_file("/sim/strace").size();
        unit->engine().set(properties::detail, "Block 2 of 9");
        ASSERT_TRUE(unit->run_passes(50));
        std::istringstream trace{unit->root().read_file("/sim/strace").substr(start)};
        std::set<std::string> seen;
        std::string line;
        std::getline(trace, line);  // from somewhere in its middle
        while (std::getline(trace, line)) {
            const auto call = line.substr(std::min(line.find_first_not_of("0123456789 "), line.size()));
            if (kind == std::string_view{"container"} && line.find(" = ") != std::string::npos) {
                EXPECT_TRUE(!call.starts_with("poll(") || call.find(", 1, 0) = ") != std::string::npos)
                    << call;
                EXPECT_TRUE(!call.starts_with("clock_nanosleep(") ||
                            call.find("{tv_sec=0, tv_nsec=10000000}") != std::string::npos)
                    << call;
            }
            // Nothing is left of the end of a call that another thread interrupted.
            seen.insert(call.substr(0, call.find_first_of("(< ")));
        }
        seen.erase("");
        EXPECT_EQ(seen, known) << kind;
        if (kind == std::string_view{"page-station"}) {
            // Tracker, display, notifications: no change is missed while a display comes up.
            const auto all = unit->root().read_file("/sim/strace");
            EXPECT_LT(all.rfind("/.korv_property_ipc\""), all.find("/ps_keypad.hex\""));
            EXPECT_LT(all.find("/ps_keypad.hex\""), all.find("/.korv_ipc\""));
        }
    }
}

// Faults around the daemon, at the ends of its sockets, in its files and in its hardware.

class troubled_daemon : public testing::TestWithParam<sim::fault_t> {
  public:
    static auto those_that_end() {
        std::vector<sim::fault_t> found;
        std::ranges::copy_if(sim::faults(), std::back_inserter(found), &sim::fault_t::end);
        return testing::ValuesIn(found);
    }
};

TEST_P(troubled_daemon, reports_what_it_can_and_is_itself_again) {
    const auto& fault = GetParam();
    auto unit = in_the_middle_of_an_update(fault.unit).start();
    const auto display = sim::make_display_view(*unit);
    const auto picture = [&] {
        return display ? display->pixels().colours : std::vector<sim::pixels_t::colour_t>{};
    };
    expect_report(*unit, everything, "77", "");
    const auto shown = picture();
    expect_report(*unit, everything, "10", "");
    const holdings_t holdings{unit->daemon()};

    fault.begin(*unit);
    EXPECT_TRUE(
        !fault.works_meanwhile.file ||
        unit->run_passes(100, std::chrono::minutes{1}));  // notifications that nobody reads fill their socket
    expect_report(*unit, fault.works_meanwhile, "50", "10");
    fault.end(*unit);
    expect_report(*unit, fault.works_after, "77", "10");
    EXPECT_TRUE(sim::wait_until([&] { return picture() == shown; }));
    expect_no_more(holdings_t{unit->daemon()}, holdings);
    EXPECT_LE(unit->notifications().counts().begins, 1u);
    EXPECT_EQ(unit->notifications().counts().garbage_bytes, 0u);
}

INSTANTIATE_TEST_SUITE_P(when, troubled_daemon, troubled_daemon::those_that_end(), [](const auto& test) {
    std::string name{test.param.name};
    std::ranges::replace(name, '-', '_');
    return name;
});

}  // namespace
