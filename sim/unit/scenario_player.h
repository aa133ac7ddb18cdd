#pragma once

#include "sim/unit/scenario.h"
#include "sim/unit/unit.h"

#include <chrono>
#include <functional>

namespace sim {

/// Who watches while a scenario is played.
struct scenario_watch_t {
    /// Called every few milliseconds, with the scenario's own time.
    std::function<void(std::chrono::milliseconds now)> meanwhile = [](auto) {};
    /// Called before an event happens.
    std::function<void(const scenario_event_t& event)> before = [](const auto&) {};
    /// Whether the daemon hears of states and shows them in its file. Then a state is left only after it was
    /// shown, also on a machine so busy that this takes longer than the scenario has it.
    bool daemon_shows_states = true;
};

/// Lets everything that a scenario holds happen to a unit, and returns at its end.
/// @param speed  seconds of the scenario that pass in one second.
void play(const scenario_t& scenario, double speed, unit_t& unit, const scenario_watch_t& watch);

}  // namespace sim
