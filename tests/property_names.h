#pragma once

/// What an update publishes, by the names that every unit's engine has them under.
namespace properties {

inline constexpr const char* state = "/sys/fw_status/state";
inline constexpr const char* progress = "/sys/fw_status/progress";
inline constexpr const char* detail = "/sys/fw_status/detail";

}  // namespace properties
