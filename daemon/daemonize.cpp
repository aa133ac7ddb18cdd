#include "daemon/daemonize.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zel {

int daemonize() {
    const pid_t child = ::fork();
    if (child < 0) {
        throw engine_fault_e{engine_fault_e::cannot_detach};
    }
    if (child != 0) {
        return 1;
    }
    ::umask(0);
    if (::setsid() < 0 || ::chdir("/") < 0) {
        throw engine_fault_e{engine_fault_e::cannot_detach};
    }
    // Without /dev/null standard input simply stays as it was inherited.
    const int null_device = ::open("/dev/null", O_RDWR | O_CLOEXEC);  // NOLINT(*-vararg)
    ::dup2(null_device, STDIN_FILENO);
    ::dup2(STDERR_FILENO, STDOUT_FILENO);
    if (null_device > STDERR_FILENO) {
        ::close(null_device);
    }
    return 0;
}

}  // namespace zel
