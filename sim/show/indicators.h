#pragma once

#include "sim/root/unit_definition.h"
#include "sim/show/png.h"

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace sim {

/// An LED or a lamp on a unit's front, as it is now.
struct indicator_t {
    std::string name;   ///< as the drivers count it: "0"
    std::string state;  ///< what it shows, such as "first colour" or "50 %"; empty when it is dark
    pixels_t::colour_t colour;
};

/// Indicators of a kind, side by side.
struct indicator_row_t {
    std::string name;
    std::vector<indicator_t> indicators;
};

/// All indicators of this process's unit, but for those of a serial panel, which are part of its display.
/// Nothing on this hardware blinks by itself. The two colours of a front panel's LEDs are shown as green and
/// red.
[[nodiscard]] std::vector<indicator_row_t> indicators_of(const unit_definition_t& unit);

/// A line for each row: "LEDs: 0 first colour, 20 both colours, the others dark".
[[nodiscard]] std::string indicator_text(const std::vector<indicator_row_t>& rows);

/// A picture with the rows below it: a dot for each indicator, with its name.
[[nodiscard]] pixels_t with_indicators(const pixels_t& picture, const std::vector<indicator_row_t>& rows);

}  // namespace sim
