#include "daemon/daemonize.h"
#include "daemon/failsafe.h"
#include "platform/logging.h"
#include "sim/root/log_file.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <string>
#include <string_view>

namespace {

std::string_view failing_call;

int fail_or(std::string_view call, auto otherwise) {
    if (call != failing_call) {
        return otherwise();
    }
    errno = EPERM;
    return -1;
}

template <typename function_t>
function_t* c_library(const char* name) {
    return reinterpret_cast<function_t*>(::dlsym(RTLD_NEXT, name));
}

}  // namespace

// These stand before the C library's.
extern "C" pid_t fork() noexcept {
    return fail_or("fork", [] { return c_library<pid_t()>("fork")(); });
}
extern "C" pid_t setsid() noexcept {
    return fail_or("setsid", [] { return c_library<pid_t()>("setsid")(); });
}
extern "C" int chdir(const char* path) noexcept {
    return fail_or("chdir", [path] { return c_library<int(const char*)>("chdir")(path); });
}

namespace {

// What comes out of it, in the child where there is one.
int outcome_without(std::string_view call) {
    failing_call = call;
    const pid_t self = ::getpid();
    int outcome = 0;
    try {
        outcome = zel::daemonize();
    } catch (engine_fault_e fault) {
        outcome = static_cast<int>(fault);
    }
    if (::getpid() != self) {
        ::_exit(outcome);
    }
    if (outcome == 1) {
        ::wait(&outcome);
        outcome = WEXITSTATUS(outcome);
    }
    return outcome;
}

TEST(daemonize, that_cannot_detach_throws_116_on_whichever_side_it_is) {
    EXPECT_EQ(outcome_without("nothing"), 0);
    EXPECT_EQ(outcome_without("setsid"), 116);
    EXPECT_EQ(outcome_without("chdir"), 116);
    EXPECT_EQ(outcome_without("fork"), 116);
}

TEST(failsafe, without_a_child_gives_up_with_the_reason) {
    zel::register_logger("eng_daemon");
    const sim::log_capture_t log;
    failing_call = "fork";
    EXPECT_EQ(zel::failsafe(zel::failsafe_mode::always, nullptr), 1);
    EXPECT_TRUE(log.has("[eng_daemon] [error] failsafe() -- fork() failed, errno=1, will not restart\n"));
}

TEST(daemonize, leads_a_session_in_the_root_with_errors_and_output_together_and_nothing_to_read) {
    std::array<int, 2> pipe{};
    ASSERT_EQ(::pipe(pipe.data()), 0);
    if (const pid_t parent = ::fork(); parent == 0) {
        ::dup2(pipe[1], STDERR_FILENO);
        if (zel::daemonize() == 0) {
            std::array<char, 16> directory{};
            char byte = 0;
            ::dprintf(STDOUT_FILENO, "%d %d %s %zd", ::getsid(0) == ::getpid(), ::umask(0) == 0,
                      ::getcwd(directory.data(), directory.size()), ::read(STDIN_FILENO, &byte, 1));
        }
        ::_exit(0);
    }
    ::close(pipe[1]);
    std::string said;
    for (std::array<char, 64> part{}; const auto count = ::read(pipe[0], part.data(), part.size());) {
        ASSERT_GT(count, 0);
        said.append(part.data(), static_cast<std::size_t>(count));
    }
    EXPECT_EQ(said, "1 1 / 0");
    ::close(pipe[0]);
    ::wait(nullptr);
}

}  // namespace
