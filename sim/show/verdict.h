#pragma once

#include "sim/show/display_view.h"
#include "sim/unit/faults.h"
#include "sim/unit/scenario.h"
#include "sim/unit/unit.h"

#include <string>
#include <vector>

namespace sim {

/// What a run of the simulator came to: facts to print, and what was wrong.
struct verdict_t {
    std::vector<std::string> facts;
    std::vector<std::string> faults;
};

/// Compares what was observed on a unit with what its definition and the scenario promise.
/// @param display  the view of its display; null when it has none.
/// @param works    what of the unit worked all the time; the rest is not judged.
[[nodiscard]] verdict_t judge(unit_t& unit, const display_view_t* display, const scenario_t& scenario,
                              const works_t& works = {});

}  // namespace sim
