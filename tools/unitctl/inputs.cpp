#include "tools/unitctl/families.h"

#include <cstdio>

namespace tools::unitctl {

namespace {

const char* on_or_off(bool state) {
    return state ? "on" : "off";
}

/// Something that is on or off, and how to ask a unit for it.
struct input_t {
    const char* name;
    const char* help;
    bool (*read)(session_t& session, bool& state);
};

constexpr input_t status{"status", "Prints the status input", [](session_t& session, bool& state) {
                             return session.controller().get_status_input(state);
                         }};
constexpr input_t bit3{"bit3", "Prints this input of a page station", [](session_t& session, bool& state) {
                           return session.page_station().read_input_bit3(state);
                       }};
constexpr input_t bit4{"bit4", "Prints this input of a page station", [](session_t& session, bool& state) {
                           return session.page_station().read_input_bit4(state);
                       }};
constexpr session_t::platforms_t with_line{io::platform_tables::with_gpio_line};
constexpr input_t gpio_status{
    "status", "Prints the status input, from wherever this unit has it",
    [](session_t& session, bool& state) { return session.controller(with_line).get_gpio_status(state); }};

bool tells_level(session_t& session) {
    return session.is_on(with_line) || session.is_on(io::platform_tables::with_input_level);
}

constexpr input_t gpio_line{"line", "Prints the level of the line", [](session_t& session, bool& state) {
                                if (!tells_level(session) && !session.force) {
                                    throw refusal_t{"this unit tells no level of the status input"};
                                }
                                return session.controller(with_line).get_gpio_line(state);
                            }};

bool print(session_t& session, const input_t& input, bool with_name = false) {
    bool state = false;
    const bool read = input.read(session, state);
    return with_name ? print_if(read, "%s %s\n", input.name, on_or_off(state))
                     : print_if(read, "%s\n", on_or_off(state));
}

bool print_lines(session_t& session) {
    io::control_t::inputs_t lines;
    const bool read = session.controller().get_inputs(lines);
    return print_if(read, "present %s, fault a %s, fault b %s, active %s\n", on_or_off(lines.present),
                    on_or_off(lines.fault_a), on_or_off(lines.fault_b), on_or_off(lines.active));
}

bool print_word(session_t& session) {
    std::uint32_t word = 0;
    const bool read = session.page_station().read_input(word);
    return print_if(read, "0x%08x\n", word);
}

bool print_all(session_t& session) {
    if (!print_lines(session) || !print(session, status, true)) {
        return false;
    }
    return !io::system_t::is_page_station() ||
           (print_word(session) && print(session, bit3, true) && print(session, bit4, true));
}

void add_input(CLI::App& group, session_t& session, const input_t& input) {
    add_command(group, input.name, input.help, {}, [&session, input] { return print(session, input); });
}

}  // namespace

void add_input_commands(CLI::App& app, session_t& session) {
    auto& inputs = add_group(app, "inputs", "The unit's inputs; by itself it prints all of them");
    add_default(inputs, [&session] { return print_all(session); });
    add_command(inputs, "lines", "Prints the inputs beside the level output, two of its five lines as one",
                {}, [&session] { return print_lines(session); });
    add_command(inputs, "number", "Prints all five lines as a number, 0 to 31", {}, [&session] {
        std::uint32_t number = 0;
        const bool read = session.controller().get_level_reading(number);
        return print_if(read, "%u\n", number);
    });
    add_input(inputs, session, status);
    add_command(inputs, "word", "Prints the input register of a page station", {},
                [&session] { return print_word(session); });
    add_input(inputs, session, bit3);
    add_input(inputs, session, bit4);

    auto& gpio = add_group(
        app, "gpio", "The status input; by itself it prints its line's level, too, where that can be read");
    add_default(gpio, [&session] {
        return print(session, gpio_status, true) &&
               (!tells_level(session) || print(session, gpio_line, true));
    });
    add_input(gpio, session, gpio_status);
    add_input(gpio, session, gpio_line);
}

}  // namespace tools::unitctl
