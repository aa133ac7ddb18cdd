#include "sim/programs/child.h"

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>

namespace {

/// While a child is made signals wait: until it has become its program, one for it would end in a handler of
/// this one's, of which it has a copy.
class held_signals_t {
  public:
    held_signals_t() {
        sigset_t all;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_BLOCK, &all, &before_);
    }
    ~held_signals_t() { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    held_signals_t(const held_signals_t&) = delete;
    held_signals_t& operator=(const held_signals_t&) = delete;

    /// In the child: signals mean there what they mean to a program that has just begun.
    void let_go_in_child() const {
        for (const int signal : {SIGINT, SIGTERM}) {
            std::signal(signal, SIG_DFL);  // NOLINT(cert-err33-c)
        }
        ::pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    }

  private:
    sigset_t before_{};
};

[[noreturn]] void become(const std::vector<std::string>& command, pid_t parent,
                         const held_signals_t& signals) {
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    signals.let_go_in_child();
    if (::getppid() != parent) {
        ::_exit(1);
    }
    std::vector<char*> words;
    words.reserve(command.size() + 1);
    for (const auto& word : command) {
        words.push_back(const_cast<char*>(word.c_str()));
    }
    words.push_back(nullptr);
    ::execv(words.front(), words.data());
    ::_exit(127);
}

int exit_status_of(int status) {
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void check(pid_t pid, const std::string& program) {
    if (pid < 0) {
        throw std::system_error{errno, std::generic_category(), program};
    }
}

}  // namespace

child_t::child_t(const std::vector<std::string>& command, const std::string& output) {
    const pid_t parent = ::getpid();
    const held_signals_t signals;
    pid_ = ::fork();
    check(pid_, command.front());
    if (pid_ == 0) {
        if (!output.empty()) {
            const int file = ::open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
            ::dup2(file, STDOUT_FILENO);
            ::dup2(file, STDERR_FILENO);
        }
        become(command, parent, signals);
    }
}

child_t::~child_t() {
    end();
}

void child_t::note_end(int status) {
    pid_ = 0;
    exit_status_ = exit_status_of(status);
}

bool child_t::is_running() {
    int status = 0;
    if (pid_ != 0 && ::waitpid(pid_, &status, WNOHANG) == pid_) {
        note_end(status);
    }
    return pid_ != 0;
}

void child_t::end() {
    if (is_running()) {
        int status = 0;
        ::kill(pid_, SIGTERM);
        ::waitpid(pid_, &status, 0);
        note_end(status);
    }
}

terminal_child_t::terminal_child_t(const std::vector<std::string>& command, unsigned columns) {
    winsize size{};
    size.ws_row = 24;
    size.ws_col = static_cast<unsigned short>(columns);
    const pid_t parent = ::getpid();
    const held_signals_t signals;
    pid_ = ::forkpty(&terminal_, nullptr, nullptr, &size);
    check(pid_, command.front());
    if (pid_ == 0) {
        become(command, parent, signals);
    }
}

terminal_child_t::~terminal_child_t() {
    if (pid_ != 0) {
        ::kill(pid_, SIGTERM);
        ::waitpid(pid_, nullptr, 0);
    }
    ::close(terminal_);
}

bool terminal_child_t::read_for(std::chrono::milliseconds time) {
    const auto until = std::chrono::steady_clock::now() + time;
    while (pid_ != 0 && std::chrono::steady_clock::now() < until) {
        pollfd event{terminal_, POLLIN, 0};
        ::poll(&event, 1, 20);
        if (event.revents == 0) {
            continue;
        }
        std::array<char, 4096> piece{};
        const auto count = ::read(terminal_, piece.data(), piece.size());
        if (count > 0) {
            output_.append(piece.data(), static_cast<std::size_t>(count));
            continue;
        }
        int status = 0;
        ::waitpid(pid_, &status, 0);
        pid_ = 0;
        exit_status_ = exit_status_of(status);
    }
    return pid_ != 0;
}
