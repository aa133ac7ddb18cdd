#pragma once

#include "sim/show/display_view.h"
#include "sim/unit/scenario.h"
#include "sim/unit/troubles.h"
#include "sim/unit/unit.h"

#include <chrono>
#include <string>
#include <vector>

namespace sim {

/// What a run of the simulator came to: facts to print, and what was wrong.
struct verdict_t {
    std::vector<std::string> facts;
    std::vector<std::string> faults;
};

/// What a unit's file and display show otherwise than its engine has been told; empty when they agree within
/// a few seconds. Of values that an updater should not publish only the state is looked at.
/// @param display  the view of its display; null when that is not to be looked at.
/// @param works    what of the unit works; the rest is not looked at.
[[nodiscard]] std::string
difference_to_published(unit_t& unit, const display_view_t* display, const works_t& works,
                        std::chrono::milliseconds patience = std::chrono::seconds{8});

/// Compares what was observed on a unit with what its definition and the scenario promise.
/// @param display   the view of its display; null when it has none.
/// @param troubles  its faults; what did not work on account of them is not judged.
[[nodiscard]] verdict_t judge(unit_t& unit, const display_view_t* display, const scenario_t& scenario,
                              const troubles_t& troubles);

}  // namespace sim
