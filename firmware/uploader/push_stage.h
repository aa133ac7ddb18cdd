#pragma once

#include <cstdint>
#include <string_view>

namespace firmware {

/// How far the pushing of an image to a unit has come. The numbers are those that observers have always
/// known.
enum class push_stage_e : std::uint8_t {
    preparing = 0,   ///< asking the unit what it is; also whatever the unit does that is none of the below
    uploading = 1,   ///< the image is under way to the unit
    validating = 2,  ///< the unit examines it
    writing = 3,     ///< the unit writes firmware or FPGA
    complete = 4,
    error = 5,
};

/// How it ended.
enum class push_outcome_e : std::uint8_t {
    complete,              ///< the unit runs the image, or is about to with its reboot
    up_to_date,            ///< it ran the image already; nothing was sent
    error,                 ///< the unit reports an error, or gave the update up
    unsupported_hardware,  ///< the unit says that the image is not for its hardware
    busy,                  ///< the unit is updating already
    not_found,             ///< the unit has no such page
    cancelled,             ///< by this side
    lost,                  ///< the unit has not answered usefully for too long
    refused,               ///< nothing was sent, for a reason of this side or one that the unit gave
};

/// The stage of a word in a unit's status file: "validate", "fw_write" and so on; `preparing` for all others.
[[nodiscard]] push_stage_e stage_of(std::string_view state);

/// A word for it, such as "writing" or "up_to_date".
[[nodiscard]] std::string_view name_of(push_stage_e stage);
[[nodiscard]] std::string_view name_of(push_outcome_e outcome);

/// Complete and up to date: the unit runs the image.
[[nodiscard]] bool is_success(push_outcome_e outcome);

}  // namespace firmware
