#include "daemon/failsafe.h"
#include "platform/logging.h"
#include "sim/root/log_file.h"
#include "sim/root/unit_root.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <iterator>

namespace {

/// How a supervised process ends, the first time it runs. The second time it always exits with 0, and the
/// third time never comes in any mode but `always`.
enum class end_e { exit_0, exit_3, killed };

struct case_t {
    unsigned mode;
    end_e end;
    int expected_runs;
};

constexpr case_t cases[]{{0, end_e::killed, 1}, {1, end_e::exit_0, 3}, {2, end_e::exit_3, 1},
                         {2, end_e::killed, 2}, {3, end_e::exit_0, 1}, {3, end_e::exit_3, 2},
                         {99, end_e::killed, 2}};

// Runs in a process of its own.
[[noreturn]] void supervise(const case_t& what, std::atomic<int>& runs) {
    struct sigaction interruption {};
    interruption.sa_handler = [](int) {};
    ::sigaction(SIGUSR1, &interruption, nullptr);
    if (zel::failsafe(what.mode, "/usr/bin/tool") == 1) {
        ::_exit(1);
    }
    ::kill(::getppid(), SIGUSR1);  // the supervisor goes on waiting
    ::usleep(20'000);
    const int run = ++runs;
    if (run == 3) {
        ::kill(::getppid(), SIGKILL);  // supervision without end is cut short
    }
    if (run == 1 && what.end == end_e::killed) {
        ::raise(SIGKILL);
    }
    ::_exit(run == 1 && what.end == end_e::exit_3 ? 3 : 0);
}

TEST(failsafe, restarts_by_its_mode_removes_the_pid_file_and_counts) {
    const sim::unit_root_t unit{*sim::find_unit("container")};
    unit.write_file("/var/run/tool.pid", "1\n");
    zel::register_logger("eng_daemon");
    zel::set_logger_level("eng_daemon", "debug");
    const sim::log_capture_t log;
    const auto start = std::chrono::steady_clock::now();

    auto* const runs = static_cast<std::atomic<int>*>(
        ::mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        if (::fork() == 0) {
            supervise(cases[i], runs[i]);
        }
    }
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        ::wait(nullptr);
    }
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_EQ(runs[i], cases[i].expected_runs) << "case " << i;
    }
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds{2}) << "two restarts of a kind";
    EXPECT_EQ(log.count("[eng_daemon] [debug] Failsafe mode starting\n"), 7);
    EXPECT_EQ(log.count("Failsafe mode restarting (1)"), 4);
    EXPECT_EQ(log.count("Failsafe mode restarting (2)"), 1);
    EXPECT_EQ(log.count("waitpid() failed"), 0);
    EXPECT_GE(log.count("failsafe() -- removing pid file /var/run/tool.pid"), 1);
    EXPECT_NE(::access(unit.file("/var/run/tool.pid").c_str(), F_OK), 0);
}

TEST(failsafe, without_a_child_to_wait_for_gives_up_with_the_reason) {
    zel::register_logger("eng_daemon");
    const sim::log_capture_t log;
    std::signal(SIGCHLD, SIG_IGN);  // nobody is told how a child ended
    if (zel::failsafe(zel::failsafe_mode::always, nullptr) == 0) {
        ::_exit(0);
    }
    EXPECT_TRUE(log.has(
        "[eng_daemon] [error] failsafe() -- waitpid() failed, result=-1 errno=10, will not restart\n"));
}

}  // namespace
