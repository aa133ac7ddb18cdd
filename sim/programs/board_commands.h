#pragma once

#include "sim/root/unit_definition.h"
#include "sim/root/unit_root.h"
#include "tools/unitctl/command.h"

#include <string>

namespace sim {

/// Adds the commands that do to a simulated board what its surroundings would: hands on buttons and keys,
/// heat, faults. They set the board's shared state, so that a daemon on the same unit meets them as well.
void add_board_commands(CLI::App& app);

/// What is to be seen of a unit's display, LEDs and lamps, as text.
[[nodiscard]] std::string shown_by(const unit_definition_t& unit);
/// Writes the picture of a unit's display to a PNG file. Throws std::runtime_error when the unit has none or
/// the file cannot be written.
void write_picture(const unit_definition_t& unit, const std::string& path);

}  // namespace sim
