#include "sim/board/keypad_setup.h"

#include "platform/paths.h"
#include "sim/root/shared_state.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace sim {

namespace {

constexpr unsigned current = 2;  ///< version of the firmware that the image file holds

constexpr std::array<std::string_view, 8> names{"up-to-date", "outdated", "blank",         "absent",
                                                "wrong-type", "worn-out", "never-answers", "slow-to-enter"};

std::string hex_line(unsigned address, unsigned type, std::span<const std::uint8_t> bytes) {
    std::string line{':'};
    unsigned sum = 0;
    const auto add = [&](unsigned byte) {
        std::array<char, 3> digits{};
        std::snprintf(digits.data(), digits.size(), "%02X", byte & 0xFFu);
        line += digits.data();
        sum += byte;
    };
    add(static_cast<unsigned>(bytes.size()));
    add(address >> 8);
    add(address & 0xFFu);
    add(type);
    std::ranges::for_each(bytes, add);
    add(0x100u - (sum & 0xFFu));
    return line + '\n';
}

}  // namespace

std::optional<keypad_setup_e> keypad_setup(std::string_view name) {
    const auto* const found = std::ranges::find(names, name);
    if (found == names.end()) {
        return std::nullopt;
    }
    return static_cast<keypad_setup_e>(found - names.begin());
}

std::array<std::uint8_t, 8192> keypad_firmware(unsigned version) {
    std::array<std::uint8_t, 8192> bytes{};
    for (unsigned i = 0; i < bytes.size() - 256; ++i) {  // the end is not used
        bytes[i] = static_cast<std::uint8_t>(i % 64 == 0 ? version : i * 7 + (i >> 8));
    }
    return bytes;
}

std::string intel_hex_text(std::span<const std::uint8_t> bytes, std::size_t record_length) {
    constexpr unsigned data = 0;
    constexpr unsigned end_of_file = 1;
    std::string text;
    for (std::size_t at = 0; at < bytes.size(); at += record_length) {
        const auto length = std::min(record_length, bytes.size() - at);
        text += hex_line(static_cast<unsigned>(at), data, bytes.subspan(at, length));
    }
    return text + hex_line(0, end_of_file, {});
}

std::string keypad_firmware_file() {
    return intel_hex_text(keypad_firmware(current));
}

void set_up_chip(keypad_chip_state_t& chip, keypad_setup_e setup) {
    constexpr unsigned older = 1;
    chip = {};
    switch (setup) {
    case keypad_setup_e::up_to_date:
        chip.flash = keypad_firmware(current);
        break;
    case keypad_setup_e::outdated:
        chip.flash = keypad_firmware(older);
        break;
    case keypad_setup_e::blank:
        break;
    case keypad_setup_e::absent:
        chip.present = false;
        break;
    case keypad_setup_e::wrong_type:
        chip.silicon_id[1] = 0xB5;
        break;
    case keypad_setup_e::worn_out:
        chip.stuck_at = 0x0321;
        chip.stuck_bits = 0xFF;
        break;
    case keypad_setup_e::never_answers:
        chip.never_finishes = true;
        break;
    case keypad_setup_e::slow_to_enter:
        chip.flash = keypad_firmware(older);
        chip.entries_to_miss = 1;
        break;
    }
}

page_station_state_t& set_up_keypad(const unit_root_t& unit, keypad_setup_e setup) {
    unit.write_file(zel::paths::keypad_firmware, keypad_firmware_file());
    auto& state = shared_state<page_station_state_t>("page_station");
    set_up_chip(state.chip, setup);
    return state;
}

}  // namespace sim
