#pragma once

#include "sim/root/unit_root.h"

#include <string_view>

namespace sim {

/// A unit on the bench: its root, its board, and what its property engine would have told, without an engine.
/// Drivers are constructed on it in this process; since their state is process-wide, one process has one such
/// unit.
class bench_unit_t {
  public:
    explicit bench_unit_t(const unit_definition_t& definition);
    explicit bench_unit_t(std::string_view name) : bench_unit_t{*find_unit(name)} {}

    unit_root_t root;
};

}  // namespace sim
