#pragma once

#include "sim/unit/unit.h"

#include <span>
#include <string>
#include <string_view>

namespace sim {

/// Which of the daemon's reports come through. Its file, display and notifications do not depend on each
/// other.
struct works_t {
    bool news = true;           ///< it hears of changes
    bool file = true;           ///< it writes the file
    bool notifications = true;  ///< it notifies
    bool display = true;        ///< its display shows what it is told
};
[[nodiscard]] works_t operator&&(const works_t& one, const works_t& other);

/// Something wrong with a unit, by name. It is there from the start, or it begins in the middle of an update
/// and ends again. A part that stands still is null.
struct fault_t {
    std::string_view name;
    std::string_view unit;  ///< the kind of unit to see it on
    std::string_view description;
    bool (*possible_on)(const unit_definition_t& unit) = nullptr;
    /// Builds it into the unit, with what is then expected of that.
    void (*arrange)(unit_builder_t& builder) = nullptr;
    void (*begin)(unit_t& unit) = nullptr;
    void (*end)(unit_t& unit) = nullptr;
    works_t works_meanwhile{};
    works_t works_after{};
};

[[nodiscard]] std::span<const fault_t> faults();

/// The fault of that name, or nullptr.
[[nodiscard]] const fault_t* find_fault(std::string_view name);

/// A hand on the unit: presses or releases a button of the front panel or a key of the page station. Does
/// nothing on a unit that has neither.
void move_key(const unit_definition_t& unit, unsigned number, bool pressed);

}  // namespace sim
