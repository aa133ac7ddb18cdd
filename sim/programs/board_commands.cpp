#include "sim/programs/board_commands.h"

#include "sim/board/control_block.h"
#include "sim/board/front_panel_block.h"
#include "sim/board/keypad_setup.h"
#include "sim/programs/board_view.h"
#include "sim/root/shared_state.h"
#include "sim/root/system_path.h"
#include "sim/show/indicators.h"

#include <cstdint>
#include <cstdio>
#include <optional>

namespace sim {

namespace {

using tools::unitctl::add_command;
using tools::unitctl::add_group;
using tools::unitctl::refusal_t;

control_block_state_t& controller() {
    return shared_state<control_block_state_t>("control");
}

front_panel_state_t& panel() {
    if (!definition_of_this_unit().has_front_panel) {
        throw refusal_t{"this unit has no front panel"};
    }
    return shared_state<front_panel_state_t>("front_panel");
}

page_station_state_t& station() {
    if (!definition_of_this_unit().has_page_station) {
        throw refusal_t{"this unit is no page station"};
    }
    return shared_state<page_station_state_t>("page_station");
}

void require_each_below(const std::vector<unsigned>& numbers, unsigned limit, const char* what) {
    for (const auto number : numbers) {
        if (number >= limit) {
            throw refusal_t{"there is no " + std::string{what} + " " + std::to_string(number)};
        }
    }
}

void move_buttons(const std::vector<unsigned>& buttons, bool down) {
    auto& pressed = panel().pressed_buttons;
    require_each_below(buttons, 3, "button");
    for (const auto button : buttons) {
        pressed = down ? pressed | 1U << button : pressed & ~(1U << button);
    }
}

void move_keys(const std::vector<unsigned>& keys, bool down) {
    auto& face = station().face;
    require_each_below(keys, 64, "key");
    for (const auto key : keys) {
        face.key(static_cast<std::uint8_t>(key), down);
    }
}

void add_hands(CLI::App& app) {
    for (const bool down : {true, false}) {
        auto& group =
            add_group(app, down ? "press" : "release", down ? "Presses buttons or keys" : "Lets go of them");
        add_command<std::vector<unsigned>>(
            group, "button", "Buttons of the front panel", {{{"BUTTON", "0 to 2, one or several"}}},
            [down](const std::vector<unsigned>& buttons) { move_buttons(buttons, down); })
            .get_option("BUTTON")
            ->required();
        add_command<std::vector<unsigned>>(
            group, "key", "Keys of a page station", {{{"KEY", "0 to 63, one or several, in that order"}}},
            [down](const std::vector<unsigned>& keys) { move_keys(keys, down); })
            .get_option("KEY")
            ->required();
    }
}

void add_surroundings(CLI::App& board) {
    add_command<std::string>(board, "sensor", "What the temperature sensor measures",
                             {{{"CELSIUS", "Or none: no sensor"}}}, [](const std::string& celsius) {
                                 auto& sensor = controller().sensor;
                                 sensor.fitted = celsius != "none";
                                 if (sensor.fitted && !CLI::detail::lexical_cast(celsius, sensor.celsius)) {
                                     throw refusal_t{"\"" + celsius + "\" is no temperature"};
                                 }
                             });
    add_command<std::uint32_t>(
        board, "sensor-bits", "The two bits behind its reading, both set in a healthy one",
        {{{"BITS", "0 to 3"}}}, [](std::uint32_t bits) { controller().sensor.status_bits = bits; });
    add_command<unsigned, double>(board, "fan", "How fast a fan turns",
                                  {{{"FAN", "0 or 1"}, {"RPM", "Revolutions per minute; 0 stands"}}},
                                  [](unsigned fan, double rpm) {
                                      if (fan > 1) {
                                          throw refusal_t{"there are two fans"};
                                      }
                                      controller().fan_rpm[fan] = rpm;
                                  });
    add_command<std::uint32_t>(board, "inputs", "The five inputs beside the level output",
                               {{{"LINES", "0 to 31"}}},
                               [](std::uint32_t lines) { controller().input_lines = lines; });
    add_command<bool>(board, "status", "The status input", {{{"on|off", ""}}},
                      [](bool on) { controller().status_input = on; });
    add_command<std::uint32_t>(board, "revision", "The hardware's revision", {{{"REVISION", "0 to 255"}}},
                               [](std::uint32_t revision) { controller().revision = revision; });
    add_command<std::uint32_t>(board, "word", "A page station's input register", {{{"WORD", "32 bits"}}},
                               [](std::uint32_t word) { station().inputs = word; });
    add_command<bool, bool>(board, "bits", "A page station's inputs 3 and 4",
                            {{{"BIT3", "on or off"}, {"BIT4", "on or off"}}}, [](bool bit3, bool bit4) {
                                station().general_inputs[0] = bit3;
                                station().general_inputs[1] = bit4;
                            });
    add_command<std::string, std::string>(
        board, "file", "The text in a file of the unit, such as one in /sys",
        {{{"PATH", "As the unit knows it"}, {"TEXT", "A line end follows"}}},
        [](const std::string& path, const std::string& text) {
            std::FILE* const file = std::fopen((unit_root() + path).c_str(), "we");
            if (file == nullptr) {
                throw refusal_t{"cannot open " + path};
            }
            std::fputs((text + "\n").c_str(), file);
            std::fclose(file);
        });
}

void add_fittings(CLI::App& board) {
    add_command<std::string>(board, "panel", "Which front panel is plugged in",
                             {{{"REVISION", "Its code, 0 to 15; untold, or none: no panel"}}},
                             [](const std::string& revision) {
                                 auto& state = panel();
                                 state.present = revision != "none";
                                 state.tells_revision = revision != "untold";
                                 if (state.present && state.tells_revision &&
                                     !CLI::detail::lexical_cast(revision, state.revision_code)) {
                                     throw refusal_t{"\"" + revision + "\" is no revision"};
                                 }
                             });
    add_command<std::string>(
        board, "keypad", "In which state the keypad controller is",
        {{{"STATE", "up-to-date, outdated, blank, absent, wrong-type, worn-out, never-answers "
                    "or slow-to-enter"}}},
        [](const std::string& name) {
            const auto setup = keypad_setup(name);
            if (!setup) {
                throw refusal_t{"\"" + name + "\" is no state of a keypad controller"};
            }
            set_up_chip(station().chip, *setup);
        });
    add_command<unsigned>(board, "keypad-answer", "The first byte of the keypad's answers",
                          {{{"BYTE", "66 is right"}}},
                          [](unsigned byte) { station().face.answer = static_cast<std::uint8_t>(byte); });
}

void add_faults(CLI::App& board) {
    struct controller_t {
        const char* name;
        spi_link_t& (*link)();
    };
    auto& spi = add_group(board, "spi", "What an SPI controller is like");
    for (const auto& [name, link] :
         {controller_t{"sensor", []() -> spi_link_t& { return controller().sensor_link; }},
          {"panel", []() -> spi_link_t& { return panel().link; }},
          {"keypad", []() -> spi_link_t& { return station().keypad_link; }}}) {
        add_command<std::string, std::optional<std::uint32_t>>(
            spi, name, "The one that leads to it",
            {{{"STATE", "healthy, busy (for ever) or stuck (transfers never end)"},
              {"AFTER", "Transfers that still go well"}}},
            [of = link](const std::string& state, std::optional<std::uint32_t> after) {
                if (state != "healthy" && state != "busy" && state != "stuck") {
                    throw refusal_t{"\"" + state + "\" is no state of an SPI controller"};
                }
                of().fault = state == "busy"    ? spi_fault_e::busy_for_ever
                             : state == "stuck" ? spi_fault_e::never_done
                                                : spi_fault_e::none;
                of().healthy_transfers = after.value_or(0);
            });
    }
}

}  // namespace

void add_board_commands(CLI::App& app) {
    add_hands(app);
    auto& board = add_group(app, "board", "What surrounds the simulated board");
    add_surroundings(board);
    add_fittings(board);
    add_faults(board);
    auto& show = add_group(app, "show", "What is to be seen of the simulated unit");
    add_command(show, "display", "Display and LEDs", {},
                [] { std::fputs(shown_by(definition_of_this_unit()).c_str(), stdout); });
    add_command(show, "indicators", "LEDs and lamps alone", {},
                [] { std::fputs(indicator_text(indicators_of(definition_of_this_unit())).c_str(), stdout); });
    add_command(show, "controller", "Outputs, alert, level, fans and lamps, in physical quantities", {},
                [] { std::fputs(shown_by_controller().c_str(), stdout); });
}

}  // namespace sim
