#pragma once

#include "sim/board/fpga.h"
#include "sim/root/unit_definition.h"

#include <memory>

namespace sim {

/// Puts together the FPGA of a unit: its identification and every device that the definition plugs in. The
/// devices' visible states lie in "sim/" below the unit root.
[[nodiscard]] std::unique_ptr<fpga_t> build_board(const unit_definition_t& unit);

/// The board of the unit whose root this process was given; what the first map of the FPGA region builds in
/// a process that nobody prepared.
[[nodiscard]] std::unique_ptr<fpga_t> build_board_of_this_unit();

}  // namespace sim
