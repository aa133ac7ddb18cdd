#include "firmware/uploader/push_stage.h"

#include <array>
#include <cstddef>

namespace firmware {

namespace {

// In the order of the values.
constexpr std::array<std::string_view, 6> stage_names{"preparing", "uploading", "validating",
                                                      "writing",   "complete",  "error"};
constexpr std::array<std::string_view, 9> outcome_names{
    "complete",  "up_to_date", "error",  "unsupported_hardware", "busy", "not_found",
    "cancelled", "lost",       "refused"};

}  // namespace

push_stage_e stage_of(std::string_view state) {
    if (state == "validate") {
        return push_stage_e::validating;
    }
    if (state == "fw_write" || state == "fpga_write") {
        return push_stage_e::writing;
    }
    if (state == "complete") {
        return push_stage_e::complete;
    }
    return state == "error" ? push_stage_e::error : push_stage_e::preparing;
}

std::string_view name_of(push_stage_e stage) {
    return stage_names.at(static_cast<std::size_t>(stage));
}

std::string_view name_of(push_outcome_e outcome) {
    return outcome_names.at(static_cast<std::size_t>(outcome));
}

bool is_success(push_outcome_e outcome) {
    return outcome == push_outcome_e::complete || outcome == push_outcome_e::up_to_date;
}

}  // namespace firmware
