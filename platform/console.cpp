#include "platform/console.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <ctime>
#include <string>

namespace zel {

namespace {

// Holds SIGPIPE back from this thread while a line is written, and swallows the one that the write raised.
// A process-wide SIG_IGN would be inherited by every program started from here.
class sigpipe_guard_t {
  public:
    sigpipe_guard_t() {
        sigemptyset(&pipe_);
        sigaddset(&pipe_, SIGPIPE);
        sigset_t pending;
        sigpending(&pending);
        was_pending_ = sigismember(&pending, SIGPIPE) == 1;
        pthread_sigmask(SIG_BLOCK, &pipe_, &previous_);
    }
    sigpipe_guard_t(const sigpipe_guard_t&) = delete;
    sigpipe_guard_t& operator=(const sigpipe_guard_t&) = delete;
    ~sigpipe_guard_t() {
        if (!was_pending_) {
            const timespec no_wait{};
            while (sigtimedwait(&pipe_, nullptr, &no_wait) == -1 && errno == EINTR) {
            }
        }
        pthread_sigmask(SIG_SETMASK, &previous_, nullptr);
    }

  private:
    sigset_t pipe_{};
    sigset_t previous_{};
    bool was_pending_ = false;
};

}  // namespace

void write_console_line(std::string_view line) {
    pollfd output{STDOUT_FILENO, POLLOUT, 0};
    if (::poll(&output, 1, 0) != 1 || (output.revents & POLLOUT) == 0) {
        return;
    }
    // One write a line: a pipe that reports room takes up to PIPE_BUF bytes without blocking.
    std::string text{line};
    text += '\n';
    const sigpipe_guard_t guard;
    [[maybe_unused]] const auto written = ::write(STDOUT_FILENO, text.data(), text.size());
}

console_line_t::~console_line_t() {
    write_console_line(text_.view());
}

}  // namespace zel
