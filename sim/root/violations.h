#pragma once

#include <string>

namespace sim {

/// Reports what a device did not understand: one line, kept in "sim/violations" below the unit root, where
/// the simulator and the tests find it (and on standard error when the unit has no root).
void report_violation(const std::string& line);
/// All violations reported for this unit so far, one line each; empty when there were none.
[[nodiscard]] std::string violations();

}  // namespace sim
