#include "ipc/poll_one.h"

#include <algorithm>
#include <cerrno>
#include <chrono>

namespace zel {

int poll_one(pollfd& entry, int timeout_ms) {
    using clock_t = std::chrono::steady_clock;
    const auto start = timeout_ms > 0 ? clock_t::now() : clock_t::time_point{};
    int left_ms = timeout_ms;
    while (true) {
        entry.revents = 0;
        const int ready = ::poll(&entry, 1, left_ms);
        if (ready >= 0 || errno != EINTR) {
            return ready;
        }
        if (timeout_ms > 0) {
            const auto passed = std::chrono::duration_cast<std::chrono::milliseconds>(clock_t::now() - start);
            left_ms = static_cast<int>(std::max<std::chrono::milliseconds::rep>(0, timeout_ms - passed.count()));
        }
    }
}

}  // namespace zel
