#include "sim/faults.h"

#include "sim/front_panel_block.h"
#include "sim/keypad_setup.h"
#include "sim/shared_state.h"

#include <algorithm>
#include <array>
#include <stdexcept>

namespace sim {

namespace {

using namespace std::chrono_literals;

front_panel_state_t& front_panel() {
    return shared_state<front_panel_state_t>("front_panel");
}

template <keypad_setup_e setup>
void arrange_keypad(unit_builder_t& builder) {
    builder.prepared_by([](unit_t& unit) { set_up_keypad(unit.root(), setup); });
}

constexpr std::array all_faults{
    fault_t{
        "panel-absent", "no front panel is plugged in",
        [](unit_builder_t& builder) { builder.prepared_by([](unit_t&) { front_panel().present = false; }); }},
    fault_t{"spi-stops", "the front panel's SPI controller stops answering after the opening screen",
            [](unit_builder_t& builder) {
                builder.prepared_by([](unit_t&) {
                    front_panel().link.fault = spi_fault_e::never_done;
                    front_panel().link.healthy_transfers = 9'000;
                });
            }},
    fault_t{"keypad-up-to-date", "the keypad controller holds the unit's image",
            arrange_keypad<keypad_setup_e::up_to_date>},
    fault_t{"keypad-outdated", "the keypad controller holds an older firmware",
            arrange_keypad<keypad_setup_e::outdated>},
    fault_t{"keypad-blank", "the keypad controller is erased", arrange_keypad<keypad_setup_e::blank>},
    fault_t{"keypad-absent", "nobody answers on the keypad controller's lines",
            arrange_keypad<keypad_setup_e::absent>},
    fault_t{"keypad-wrong-type", "a controller with another silicon ID",
            arrange_keypad<keypad_setup_e::wrong_type>},
    fault_t{"keypad-worn-out", "a flash bit of the keypad controller cannot be programmed",
            arrange_keypad<keypad_setup_e::worn_out>},
    fault_t{"keypad-never-answers", "the keypad controller starts operations and never ends them",
            arrange_keypad<keypad_setup_e::never_answers>},
    fault_t{"keypad-slow-to-enter", "the keypad controller misses its first entry key",
            arrange_keypad<keypad_setup_e::slow_to_enter>},
    fault_t{"module-silent", "the serial display module does not answer the probe",
            [](unit_builder_t& builder) { builder.with_serial_manners({.answer = ""}); }},
    fault_t{"module-wrong", "the serial display module answers another byte",
            [](unit_builder_t& builder) { builder.with_serial_manners({.answer = "X"}); }},
    fault_t{"module-late", "the serial display module answers after the daemon's patience",
            [](unit_builder_t& builder) { builder.with_serial_manners({.answer = "C", .delay = 800ms}); }},
    fault_t{"no-io-device", "\"/dev/io\" is missing",
            [](unit_builder_t& builder) {
                builder.prepared_by([](unit_t& unit) { unit.root().remove_file("/dev/io"); });
            }},
    fault_t{"short-io-device", "\"/dev/io\" is too short to be mapped",
            [](unit_builder_t& builder) {
                builder.prepared_by([](unit_t& unit) { unit.root().write_file("/dev/io", "short"); });
            }},
    fault_t{"no-notifications", "nobody listens for notifications",
            [](unit_builder_t& builder) { builder.without_notification_service(); }},
};

}  // namespace

std::span<const fault_t> faults() {
    return all_faults;
}

void arrange_fault(std::string_view name, unit_builder_t& builder) {
    const auto* const found = std::find_if(all_faults.begin(), all_faults.end(),
                                           [&](const auto& fault) { return fault.name == name; });
    if (found == all_faults.end()) {
        throw std::runtime_error{"no fault \"" + std::string{name} + "\""};
    }
    found->arrange(builder);
}

void move_key(const unit_definition_t& unit, unsigned number, bool pressed) {
    if (unit.has_front_panel) {
        const auto button = 1u << (number % 32);
        auto& buttons = front_panel().pressed_buttons;
        buttons = pressed ? buttons | button : buttons & ~button;
    } else if (unit.has_page_station) {
        shared_state<page_station_state_t>("page_station")
            .face.key(static_cast<std::uint8_t>(number), pressed);
    }
}

}  // namespace sim
