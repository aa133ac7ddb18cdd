#include "firmware/update_state.h"

#include <array>
#include <cstddef>

namespace firmware {

namespace {

struct state_names_t {
    std::string_view machine;
    std::string_view display;
};

// In the order of the values.
constexpr std::array<state_names_t, 6> names{{{"idle", "Idle"},
                                              {"initializing", "Initializing"},
                                              {"fw_write", "Writing Firmware"},
                                              {"fpga_write", "Writing FPGA"},
                                              {"complete", "Finished. Rebooting..."},
                                              {"error", "Error"}}};

state_names_t names_of(update_state_e state) {
    const auto index = static_cast<std::size_t>(state);
    return index < names.size() ? names[index] : state_names_t{};
}

}  // namespace

std::string_view machine_name(update_state_e state) {
    return names_of(state).machine;
}

std::string_view display_name(update_state_e state) {
    return names_of(state).display;
}

update_state_e state_of(std::string_view machine_name) {
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (names[i].machine == machine_name) {
            return static_cast<update_state_e>(i);
        }
    }
    return update_state_e::idle;
}

}  // namespace firmware
