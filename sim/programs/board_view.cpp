#include "sim/programs/board_view.h"

#include "sim/board/control_block.h"
#include "sim/board/front_panel_block.h"
#include "sim/board/keypad_state.h"
#include "sim/peers/serial_module.h"
#include "sim/root/shared_state.h"
#include "sim/show/indicators.h"
#include "sim/show/picture.h"
#include "sim/show/seven_segment_picture.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <stdexcept>

namespace sim {

namespace {

constexpr unsigned terminal_width = 122;
constexpr unsigned picture_scale = 4;

[[gnu::format(printf, 1, 2)]] std::string text_of(const char* format, ...) {
    std::array<char, 200> text{};
    std::va_list values;
    va_start(values, format);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): va_start is the line above
    std::vsnprintf(text.data(), text.size(), format, values);
    va_end(values);
    return text.data();
}

std::string caption_of(const unit_definition_t& unit) {
    if (unit.has_front_panel) {
        return text_of("LCD front panel, backlight %d\n",
                       shared_state<front_panel_state_t>("front_panel").backlight);
    }
    if (unit.has_page_station) {
        const auto& state = shared_state<page_station_state_t>("page_station");
        const auto& out = state.general_outputs;
        return text_of("page station, backlight %d, outputs %d%d%d%d, keypad %s\n", state.backlight, out[0],
                       out[1], out[2], out[3], state.keypad_runs ? "runs" : "in reset");
    }
    return "";
}

const glass_state_t& glass_of(const unit_definition_t& unit) {
    return unit.has_front_panel ? shared_state<front_panel_state_t>("front_panel").glass
                                : shared_state<glass_state_t>("glass");
}

double brightness_of(const unit_definition_t& unit) {
    return unit.has_front_panel
               ? shared_state<front_panel_state_t>("front_panel").brightness()
               : (shared_state<page_station_state_t>("page_station").backlight + 128) / 255.0;
}

bool has_glass(const unit_definition_t& unit) {
    return unit.has_front_panel || unit.has_page_station;
}

}  // namespace

std::string shown_by_controller() {
    const auto& state = shared_state<control_block_state_t>("control");
    return text_of("outputs %d%d%d, command 0x%x, %u pulses\n", state.outputs[0], state.outputs[1],
                   state.outputs[2], state.last_command, state.pulses) +
           text_of("alert %s, %.1f Hz, duty %.4f\n", state.alert_on ? "on" : "off", state.alert_hz,
                   state.alert_duty) +
           text_of("level %.5f, output %s\n", state.level, state.level_output ? "on" : "off") +
           text_of("fan drive %.5f %s, %.5f %s\n", state.fan_drive[0], state.fan_fixed[0] ? "fixed" : "free",
                   state.fan_drive[1], state.fan_fixed[1] ? "fixed" : "free");
}

std::string shown_by(const unit_definition_t& unit) {
    if (unit.has_serial_panel) {
        return seven_segment_text(shared_state<serial_display_t>("serial"));
    }
    const auto indicators = indicator_text(indicators_of(unit));
    return has_glass(unit)
               ? caption_of(unit) + indicators + terminal_picture(picture_of(glass_of(unit)), terminal_width)
               : shown_by_controller() + indicators;
}

void write_picture(const unit_definition_t& unit, const std::string& path) {
    const auto rows = indicators_of(unit);
    if (has_glass(unit)) {
        const auto glass = tinted_picture(picture_of(glass_of(unit)), brightness_of(unit), picture_scale);
        write_png(path, with_indicators(glass, rows));
    } else if (unit.has_serial_panel) {
        write_png(path, seven_segment_pixels(shared_state<serial_display_t>("serial")));
    } else if (!rows.empty()) {
        write_png(path, with_indicators({0, 0, {}}, rows));
    } else {
        throw std::runtime_error{"this unit has nothing that lights"};
    }
}

}  // namespace sim
