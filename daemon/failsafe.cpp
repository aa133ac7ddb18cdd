#include "daemon/failsafe.h"

#include "platform/log.h"
#include "platform/logger_names.h"
#include "platform/paths.h"
#include "platform/system_path.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <string_view>

namespace zel {

namespace {

scope_logger debug() {
    return {loggers::daemon, log_level_e::debug};
}

scope_logger error() {
    return {loggers::daemon, log_level_e::error};
}

void remove_pid_file(std::string_view program_path) {
    // npos + 1 is 0: without a "/" the whole text is the name.
    const auto program = program_path.substr(program_path.rfind('/') + 1);
    const auto path = std::string{paths::pid_directory}.append(program).append(".pid");
    const auto place = system_path(path);
    struct stat status {};
    if (::stat(place.c_str(), &status) == 0) {
        debug() << "failsafe() -- removing pid file " << path;
        std::remove(place.c_str());
    }
}

bool wants_restart(unsigned mode, int wait_status) {
    switch (mode) {
    case failsafe_mode::never:
        return false;
    case failsafe_mode::always:
        return true;
    case failsafe_mode::after_a_signal:
        return WIFSIGNALED(wait_status);
    default:
        return !(WIFEXITED(wait_status) && WEXITSTATUS(wait_status) == 0);
    }
}

// A signal that interrupts the wait says nothing about the child. Given up over it, the child would go on
// with nobody to start it again; a wait that fails for any other reason has no child left to wait for.
pid_t wait_for(pid_t child, int& status) {
    pid_t result = -1;
    do {
        result = ::waitpid(child, &status, 0);
    } while (result < 0 && errno == EINTR);
    return result;
}

}  // namespace

int failsafe(unsigned mode, const char* program_path) {
    debug() << "Failsafe mode starting";
    for (unsigned restarts = 1;; ++restarts) {
        const pid_t child = ::fork();
        if (child < 0) {
            const int reason = errno;
            error() << "failsafe() -- fork() failed, errno=" << reason << ", will not restart";
            return 1;
        }
        if (child == 0) {
            return 0;
        }
        int status = 0;
        if (const pid_t result = wait_for(child, status); result != child) {
            const int reason = errno;
            error() << "failsafe() -- waitpid() failed, result=" << result << " errno=" << reason
                    << ", will not restart";
            return 1;
        }
        if (program_path != nullptr) {
            remove_pid_file(program_path);
        }
        if (!wants_restart(mode, status)) {
            return 1;
        }
        ::sleep(1);
        debug() << "Failsafe mode restarting (" << restarts << ")";
    }
}

}  // namespace zel
