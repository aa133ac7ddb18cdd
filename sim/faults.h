#pragma once

#include "sim/unit.h"

#include <span>
#include <string>
#include <string_view>

namespace sim {

/// Something wrong with a unit, by name, for whoever wants to watch what the daemon makes of it.
struct fault_t {
    std::string_view name;
    std::string_view description;
    void (*arrange)(unit_builder_t& builder);
};

[[nodiscard]] std::span<const fault_t> faults();

/// Builds the fault into the unit. Throws std::runtime_error when there is none of that name.
void arrange_fault(std::string_view name, unit_builder_t& builder);

/// A hand on the unit: presses or releases a button of the front panel or a key of the page station. Does
/// nothing on a unit that has neither.
void move_key(const unit_definition_t& unit, unsigned number, bool pressed);

}  // namespace sim
