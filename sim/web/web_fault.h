#pragma once

#include <chrono>
#include <span>
#include <string_view>

namespace sim {

/// Something wrong with a unit that takes updates over the network. All but `detail` and `error_at` are told
/// to the CGI programs by the file "/sim/web_fault", which holds the name.
struct web_fault_t {
    std::string_view name;
    std::string_view description;
    bool has_upload_page = true;
    int error_at = -1;          ///< percent at which the updating process gives up
    int power_fails_at = -1;    ///< percent at which the unit is gone
    int stands_still_at = -1;   ///< percent that is never passed
    bool returns = true;        ///< from its reboot
    std::string_view detail{};  ///< instead of the updating process's own

    /// Whether it waits for an update to get so far; the others are there from the start.
    [[nodiscard]] bool waits() const {
        return error_at >= 0 || power_fails_at >= 0 || stands_still_at >= 0 || !returns;
    }
};

[[nodiscard]] std::span<const web_fault_t> web_faults();

/// The fault of that name, or nullptr.
[[nodiscard]] const web_fault_t* find_web_fault(std::string_view name);

}  // namespace sim
