#include "daemon/daemonize.h"
#include "daemon/failsafe.h"
#include "daemon/status_reporter.h"

#include <unistd.h>

#include <cerrno>

namespace {

constexpr useconds_t pass_period_us = 10'000;

#ifdef FWSTATUS_FAILSAFE
constexpr bool supervised = true;
#else
constexpr bool supervised = false;
#endif

}  // namespace

// A fault on the way into the background ends the process abnormally. Whoever started it learns of a failed
// fork by that; of a child's later trouble only the system does, the parent has ended with 0 by then.
int main() {  // NOLINT(bugprone-exception-escape)
    if (zel::daemonize() != 0) {
        return 0;
    }
    if (supervised && zel::failsafe(zel::failsafe_mode::after_failure, program_invocation_name) != 0) {
        return 1;
    }
    for (;;) {
        firmware::status_reporter_t::instance().service(0);
        ::usleep(pass_period_us);
    }
}
