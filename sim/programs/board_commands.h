#pragma once

#include "sim/root/unit_root.h"
#include "tools/unitctl/command.h"

namespace sim {

/// Adds the commands that do to a simulated board what its surroundings would: hands on buttons and keys,
/// heat, faults. They set the board's shared state, so that a daemon on the same unit meets them as well.
void add_board_commands(CLI::App& app);

}  // namespace sim
