#pragma once

#include <cstdint>
#include <string_view>

namespace firmware {

/// Which display a unit has.
enum class display_mode_e : std::int32_t {
    front_panel = 0,   ///< LCD front panel
    page_station = 1,  ///< LCD of a page station
    serial_panel = 2,  ///< serial seven-segment panel
    none = 3,
};

/// Finds the unit's display, the first that answers of LCD front panel, page station and serial panel, and
/// draws the opening screen on it. A unit whose controller does not come up has none. Blocks as long as the
/// drivers' bring-up takes (a page station whose keypad controller is reprogrammed: seconds).
[[nodiscard]] display_mode_e probe_display();

/// Shows an update on the display that was found, once per service pass.
/// @param state_name  the state as people read it.
/// @param progress    percent; shown as 0 while unknown (negative), as 100 when above.
/// @param detail      UTF-8, on the LCD front panel alone. Longer than a row it scrolls the screen.
///
/// Blocks for the display's bus: about 5 ms for an LCD front panel that answers, 100 000 looks at its
/// controller for each row when it does not. Drawing that fails is not reported. Throws
/// `zel::serial_port_exception` when a serial panel without its worker cannot be written to.
void show_status(display_mode_e mode, std::string_view state_name, int progress, std::string_view detail);

}  // namespace firmware
