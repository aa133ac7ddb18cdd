#include "ipc/poll_one.h"

#include <gtest/gtest.h>
#include <sys/time.h>
#include <unistd.h>

#include <chrono>
#include <csignal>

namespace {

int pipe_ends[2];
volatile std::sig_atomic_t interruptions = 0;

void interrupt(int /*signal*/) {
    interruptions = interruptions + 1;
    if (interruptions == 100) {
        [[maybe_unused]] const auto written = ::write(pipe_ends[1], "", 1);  // an end for a wait without one
    }
}

TEST(poll_one, goes_on_after_a_signal_for_what_is_left_of_its_time) {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "the thread sanitizer holds a signal back until the waiting is over";
#endif
    ASSERT_EQ(::pipe(pipe_ends), 0);
    struct sigaction action {};
    action.sa_handler = &interrupt;
    ::sigaction(SIGALRM, &action, nullptr);
    const itimerval every_10_ms{{0, 10'000}, {0, 10'000}};
    ::setitimer(ITIMER_REAL, &every_10_ms, nullptr);

    pollfd entry{pipe_ends[0], POLLIN, -1};
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(zel::poll_one(entry, 200), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds{199});
    EXPECT_EQ(entry.revents, 0);
    EXPECT_GT(interruptions, 2);
    EXPECT_EQ(zel::poll_one(entry, -1), 1);
    EXPECT_EQ(entry.revents, POLLIN);
}

}  // namespace
