#include "firmware/updater.h"

#include <algorithm>
#include <cstdlib>

namespace firmware {

namespace {

constexpr const char* state_path = "/sys/fw_status/state";
constexpr const char* progress_path = "/sys/fw_status/progress";
constexpr const char* detail_path = "/sys/fw_status/detail";
constexpr const char* paths[]{state_path, progress_path, detail_path};

// Base 0 is part of the property's format: updaters write the percentage in decimal, 0x or octal notation.
// Clamped while it is long, since a long does not fit an int everywhere.
int progress_of(const std::string& text) {
    constexpr int base = 0;
    constexpr long unknown = -1;
    constexpr long done = 100;
    const long value = std::strtol(text.c_str(), nullptr, base);
    return static_cast<int>(std::clamp(value, unknown, done));
}

}  // namespace

updater_t::updater_t() {
    client_.connect();
    for (const auto* const path : paths) {
        client_.create(path);
    }
    for (const auto* const path : paths) {
        client_.monitor(path);
    }
    for (const auto* const path : paths) {
        client_.get(path);
    }
}

updater_t& updater_t::instance() {
    static auto& tracker = *new updater_t;
    return tracker;
}

bool updater_t::poll(int timeout_ms) {
    int taken = 0;
    while (taken < most_a_poll &&
           client_.receive_message(message_.type, message_.path, message_.value, timeout_ms)) {
        apply(message_);
        ++taken;
    }
    return taken > 0;
}

void updater_t::apply(const message_t& message) {
    if (message.type != "get_response" && message.type != "changed") {
        return;
    }
    if (message.path == state_path) {
        state_ = state_of(message.value);
    } else if (message.path == progress_path) {
        progress_ = progress_of(message.value);
    } else if (message.path == detail_path) {
        detail_ = message.value;
    }
}

std::string updater_t::state_name() const {
    return std::string{machine_name(state_)};
}

std::string updater_t::state_display_name() const {
    return std::string{display_name(state_)};
}

}  // namespace firmware
