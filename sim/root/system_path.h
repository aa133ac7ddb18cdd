#pragma once

#include <string>

namespace sim {

/// The directory that stands for "/" of the simulated unit; the system's own root when none is set.
///
/// Taken from the environment variable FWSTATUS_UNIT_ROOT on first use, so that a program started by the
/// simulator finds its unit; a test sets it directly.
[[nodiscard]] std::string unit_root();
void set_unit_root(std::string directory);

}  // namespace sim
