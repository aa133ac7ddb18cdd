#pragma once

#include <chrono>
#include <cstdint>

namespace sim {

/// Microseconds on the machine's monotonic clock, the same in every process: what a device model takes the
/// time between two accesses from.
[[nodiscard]] inline std::int64_t now_us() {
    using namespace std::chrono;
    return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}

}  // namespace sim
