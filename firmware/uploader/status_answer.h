#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace firmware {

/// What a unit's status file says.
struct status_answer_t {
    std::string state;   ///< the machine name, such as "fw_write"; not empty
    int progress = -1;   ///< 0 to 100, -1 while unknown
    std::string detail;  ///< as the unit wrote it: neither escaped nor free of control characters
};

/// Reads a unit's status file as it came over the network.
///
/// State and progress are taken from what lies before "<detail>" and from nothing behind it: a detail is not
/// escaped and may hold anything, elements of these names included. Of the detail that part is returned which
/// has arrived.
/// @return nothing when the text is empty, cut off before the detail or of another shape, or when the
/// progress
///         is no whole number from -1 to 100. The unit rewrites its file all the time, so ask again.
[[nodiscard]] std::optional<status_answer_t> read_status_answer(std::string_view text);

}  // namespace firmware
