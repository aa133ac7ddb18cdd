#include "tools/fwpush/password.h"

#include <termios.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <stdexcept>

namespace fwpush {

std::string password_for(const std::string& user) {
    if (const char* const password = std::getenv("FWPUSH_PASSWORD")) {  // NOLINT(concurrency-mt-unsafe)
        return password;
    }
    termios shown{};
    if (::tcgetattr(STDIN_FILENO, &shown) != 0) {
        throw std::runtime_error{"--user: no password, no FWPUSH_PASSWORD and no terminal to ask on"};
    }
    auto hidden = shown;
    hidden.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden);
    std::cerr << "Password of " << user << " on the units: ";
    std::string password;
    std::getline(std::cin, password);
    ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &shown);
    std::cerr << "\n";
    return password;
}

}  // namespace fwpush
