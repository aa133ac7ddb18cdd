#include "tools/fwpush/password.h"

#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <stdexcept>

namespace fwpush {

namespace {

volatile std::sig_atomic_t signal_seen = 0;

/// The terminal without echo. A signal that would end the process in between ends the reading instead, and
/// the process once the echo is back.
class silence_t {
  public:
    silence_t() {
        if (::tcgetattr(STDIN_FILENO, &shown_) != 0) {
            throw std::runtime_error{"--user: no password, no FWPUSH_PASSWORD and no terminal to ask on"};
        }
        struct sigaction note {};
        note.sa_handler = [](int signal) { signal_seen = signal; };
        sigset_t set{};
        ::sigemptyset(&set);
        for (std::size_t i = 0; i < signals.size(); ++i) {
            ::sigaddset(&set, signals.at(i));
            ::sigaction(signals.at(i), &note, &before_.at(i));
        }
        ::pthread_sigmask(SIG_BLOCK, &set, &mask_);
        auto hidden = shown_;
        hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden);
    }
    silence_t(const silence_t&) = delete;
    silence_t& operator=(const silence_t&) = delete;
    ~silence_t() {
        ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &shown_);
        std::cerr << "\n";
        for (std::size_t i = 0; i < signals.size(); ++i) {
            ::sigaction(signals.at(i), &before_.at(i), nullptr);
        }
        ::pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
        if (signal_seen != 0) {
            ::raise(signal_seen);
        }
    }

    /// Waits for a line, or for a signal, which is taken in no other moment. @return whether there is a line.
    [[nodiscard]] bool wait_for_line() const {
        pollfd input{STDIN_FILENO, POLLIN, 0};
        while (signal_seen == 0) {
            if (::ppoll(&input, 1, nullptr, &mask_) > 0) {
                return true;
            }
        }
        return false;
    }

  private:
    static constexpr std::array signals{SIGINT, SIGTERM, SIGHUP, SIGQUIT};

    termios shown_{};
    sigset_t mask_{};
    std::array<struct sigaction, signals.size()> before_{};
};

}  // namespace

std::string password_for(const std::string& user) {
    if (const char* const password = std::getenv("FWPUSH_PASSWORD")) {  // NOLINT(concurrency-mt-unsafe)
        return password;
    }
    const silence_t silence;
    std::cerr << "Password of " << user << " on the units: ";
    std::string password;
    if (silence.wait_for_line()) {
        std::getline(std::cin, password);
    }
    return password;
}

}  // namespace fwpush
