#pragma once

#include "sim/board/keypad_state.h"
#include "sim/root/unit_root.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace sim {

/// In what state a page station's keypad controller is before the daemon starts.
enum class keypad_setup_e : std::uint8_t {
    up_to_date,     ///< runs the firmware that the unit's image file holds
    outdated,       ///< runs an older one
    blank,          ///< erased
    absent,         ///< nobody answers
    wrong_type,     ///< a controller with another silicon ID
    worn_out,       ///< blank, with a flash bit that cannot be programmed
    never_answers,  ///< starts what it is told and never ends it
    slow_to_enter,  ///< outdated; hears the second entry key only
};

/// By its name with hyphens: "up-to-date", "outdated" and so on.
[[nodiscard]] std::optional<keypad_setup_e> keypad_setup(std::string_view name);

/// A firmware for the keypad controller, 8 KiB; one differs from another in its version.
[[nodiscard]] std::array<std::uint8_t, 8192> keypad_firmware(unsigned version);

/// Bytes as Intel HEX text from address 0 on, with an end-of-file record.
[[nodiscard]] std::string intel_hex_text(std::span<const std::uint8_t> bytes, std::size_t record_length = 16);

/// The image file of the firmware that is up to date, version 2.
[[nodiscard]] std::string keypad_firmware_file();

/// Puts a keypad controller's chip into a state; firmware version 2 is the one that is up to date.
void set_up_chip(keypad_chip_state_t& chip, keypad_setup_e setup);

/// Puts firmware version 2 as the image file into a page station's root and its keypad controller into a
/// state.
/// @return what can be set and watched from then on.
page_station_state_t& set_up_keypad(const unit_root_t& unit, keypad_setup_e setup);

}  // namespace sim
