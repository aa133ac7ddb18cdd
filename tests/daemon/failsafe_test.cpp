#include "daemon/failsafe.h"
#include "platform/logging.h"
#include "sim/system_path.h"
#include "tests/log_capture.h"
#include "tests/temporary_directory.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <vector>

namespace {

/// How a supervised process ends, the first time it runs. The second time it always exits with 0, and the
/// third time never comes in any mode but `always`.
enum class end_e { exit_0, exit_3, killed };

struct case_t {
    unsigned mode;
    end_e end;
    int expected_runs;
};

// Runs in a process of its own; returns how often the supervised process ran.
class supervised_t {
  public:
    explicit supervised_t(const case_t& what)
        : what_{what}, runs_{static_cast<std::atomic<int>*>(::mmap(nullptr, sizeof(std::atomic<int>),
                                                                   PROT_READ | PROT_WRITE,
                                                                   MAP_SHARED | MAP_ANONYMOUS, -1, 0))} {
        supervisor_ = ::fork();
        if (supervisor_ == 0) {
            supervise();
        }
    }
    int runs() {
        int status = 0;
        // Supervision without end is cut short after its second restart.
        ::waitpid(supervisor_, &status, 0);
        return *runs_;
    }
    const case_t& what() const { return what_; }

  private:
    [[noreturn]] void supervise() {
        if (zel::failsafe(what_.mode, "/usr/bin/tool") == 1) {
            ::_exit(1);
        }
        const int run = ++*runs_;
        if (run == 3) {
            ::kill(::getppid(), SIGKILL);
        }
        if (run == 1 && what_.end == end_e::killed) {
            ::raise(SIGKILL);
        }
        ::_exit(run == 1 && what_.end == end_e::exit_3 ? 3 : 0);
    }

    case_t what_;
    std::atomic<int>* runs_;
    pid_t supervisor_;
};

TEST(failsafe, restarts_by_its_mode_removes_the_pid_file_and_counts) {
    const tests::temporary_directory_t root;
    sim::set_unit_root(root.path());
    tests::write_file(root.path() + "/var/run/tool.pid", "1\n");
    zel::register_logger("eng_daemon");
    zel::set_logger_level("eng_daemon", "debug");
    const tests::log_capture_t log;

    std::vector<supervised_t> all;
    for (const auto& what :
         {case_t{0, end_e::killed, 1}, case_t{1, end_e::exit_0, 3}, case_t{2, end_e::exit_3, 1},
          case_t{2, end_e::killed, 2}, case_t{3, end_e::exit_0, 1}, case_t{3, end_e::exit_3, 2},
          case_t{99, end_e::killed, 2}}) {
        all.emplace_back(what);
    }
    for (auto& supervised : all) {
        EXPECT_EQ(supervised.runs(), supervised.what().expected_runs)
            << "mode " << supervised.what().mode << ", end " << static_cast<int>(supervised.what().end);
    }
    EXPECT_EQ(log.count("Failsafe mode starting"), 7);
    EXPECT_EQ(log.count("Failsafe mode restarting (1)"), 4);
    EXPECT_EQ(log.count("Failsafe mode restarting (2)"), 1);
    EXPECT_GE(log.count("failsafe() -- removing pid file /var/run/tool.pid"), 1);
    EXPECT_NE(::access((root.path() + "/var/run/tool.pid").c_str(), F_OK), 0);
    sim::set_unit_root("");
}

}  // namespace
