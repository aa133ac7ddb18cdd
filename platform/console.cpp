#include "platform/console.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <string>

namespace zel {

namespace {

// A terminal says that it has room when it has less than a line's. Through a description of the file that is
// ours alone it takes what fits, and the other holders of the terminal notice nothing.
void write_to_terminal(std::string_view text) {
    const int terminal = ::open("/proc/self/fd/1", O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    [[maybe_unused]] const auto written = ::write(terminal, text.data(), text.size());
    ::close(terminal);
}

}  // namespace

void write_console_line(std::string_view line) {
    pollfd output{STDOUT_FILENO, POLLOUT, 0};
    if (::poll(&output, 1, 0) != 1 || (output.revents & POLLOUT) == 0) {
        return;
    }
    std::string text{line};
    text += '\n';
    if (::isatty(STDOUT_FILENO) != 0) {
        write_to_terminal(text);
        return;
    }
    // One write a line: a pipe that reports room takes up to PIPE_BUF bytes without blocking.
    [[maybe_unused]] const auto written = ::write(STDOUT_FILENO, text.data(), text.size());
}

console_line_t::~console_line_t() {
    write_console_line(text_.view());
}

}  // namespace zel
