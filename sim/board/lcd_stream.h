#pragma once

#include "sim/board/fpga.h"

#include <string>
#include <vector>

namespace sim {

/// What recorded accesses sent to the LCD of a front panel or page station, as "C5c" for a command and "Dff"
/// for a data byte, with a transfer that carries two bytes as one "Wffdf". Other transfers of the panel by
/// their length in bits: "T0c".
[[nodiscard]] std::string lcd_stream(const std::vector<bus_access_t>& accesses);

}  // namespace sim
