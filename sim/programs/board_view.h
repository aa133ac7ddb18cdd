#pragma once

#include "sim/root/unit_definition.h"

#include <string>

namespace sim {

/// What is to be seen of a unit: its display, LEDs and lamps; its outputs when it has none of them.
[[nodiscard]] std::string shown_by(const unit_definition_t& unit);
/// Outputs, alert, level, fans and lamps, in physical quantities.
[[nodiscard]] std::string shown_by_controller();
/// Writes the picture of a unit's display, LEDs and lamps to a PNG file. Throws std::runtime_error when the
/// unit has none or the file cannot be written.
void write_picture(const unit_definition_t& unit, const std::string& path);

}  // namespace sim
