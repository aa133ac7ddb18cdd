#pragma once

#include <cstdint>
#include <string_view>

namespace firmware {

/// The phase of an update. Anything but idle is an update under way.
enum class update_state_e : std::int32_t {
    idle = 0,
    initializing = 1,
    fw_write = 2,
    fpga_write = 3,
    complete = 4,
    error = 5
};

/// The word for a state in properties and in the status file, such as "fw_write"; empty for a value that is
/// none of them.
[[nodiscard]] std::string_view machine_name(update_state_e state);

/// The text for a state on displays and in notifications, such as "Writing Firmware"; empty likewise.
[[nodiscard]] std::string_view display_name(update_state_e state);

/// The state of that machine name, spelled exactly so; idle for every other text.
[[nodiscard]] update_state_e state_of(std::string_view machine_name);

}  // namespace firmware
