#include "tools/unitctl/families.h"

#include <cmath>
#include <cstdio>
#include <limits>

namespace tools::unitctl {

namespace boards = io::platform_tables;

namespace {

void add_alert(CLI::App& app, session_t& session) {
    auto& alert = add_group(app, "alert", "The alert output");
    add_command(alert, "on", "Switches it on", {},
                [&session] { return session.controller().set_alert_enable(true); });
    add_command(alert, "off", "Switches it off", {},
                [&session] { return session.controller().set_alert_enable(false); });
    add_command<std::uint32_t>(
        alert, "frequency", "Sets its frequency", {{{"HZ", "2 to 16274"}}},
        [&session](std::uint32_t hz) { return session.controller().set_alert_frequency(hz); });
    add_command<unsigned>(
        alert, "duty", "Sets its duty cycle", {{{"PERCENT", "0 to 100"}}},
        [&session](unsigned percent) { return session.controller().set_alert_duty_cycle(percent); });
}

io::control_t& controller_with(session_t& session, session_t::platforms_t platforms, const char* what) {
    if (!session.is_on(platforms) && !session.force) {
        throw refusal_t{std::string{"this unit has no "} + what + "; --force asks the driver all the same"};
    }
    return session.controller();
}

io::control_t& controller_with_lamps(session_t& session) {
    return controller_with(session, {&boards::mixer_platform, 1}, "lamps");
}

io::control_t& controller_with_fans(session_t& session) {
    return controller_with(session, boards::with_fans, "fans");
}

bool drive_fans(session_t& session, double celsius) {
    if (std::isnan(celsius) && !session.force) {
        throw refusal_t{"a temperature is a number"};
    }
    return controller_with_fans(session).set_fan_drive(celsius);
}

void add_fans_and_lamps(CLI::App& app, session_t& session) {
    add_command<int, double>(app, "lamp", "Sets the brightness of a lamp",
                             {{{"LAMP", "0 or 1"}, {"PERCENT", "10 to 100"}}},
                             [&session](int lamp, double percent) {
                                 return controller_with_lamps(session).set_lamp_brightness(lamp, percent);
                             });
    auto& fan = add_group(app, "fan", "The fans; by itself it prints their speeds");
    const auto print_speed = [&session](const char* label, int number) {
        std::uint32_t rpm = 0;
        const bool read = controller_with_fans(session).get_fan_speed(number, rpm);
        return print_if(read, "%s%u rpm\n", label, rpm);
    };
    add_default(fan, [print_speed] { return print_speed("fan 0: ", 0) && print_speed("fan 1: ", 1); });
    add_command<int>(fan, "speed", "Prints the speed of a fan; 0 where it stands or is not plugged in",
                     {{{"FAN", "0 or 1"}}}, [print_speed](int number) { return print_speed("", number); });
    add_command<double>(fan, "drive", "Makes one step of the fan control",
                        {{{"CELSIUS", "The temperature to go by"}}},
                        [&session](double celsius) { return drive_fans(session, celsius); });
}

void add_temperature(CLI::App& app, session_t& session) {
    const auto cached = std::make_shared<bool>(false);
    add_command(app, "temperature", "Prints the unit's temperature", {}, [&session, cached] {
        float celsius = std::numeric_limits<float>::quiet_NaN();
        const bool read =
            session.controller(boards::with_processor_temperature).get_temperature(celsius, *cached);
        return std::isnan(celsius) ? print_if(read, "no reading\n")
                                   : print_if(read, "%.5g C\n", static_cast<double>(celsius));
    }).add_flag("--cached", *cached, "The last reading of whoever read it");
}

void add_level(CLI::App& app, session_t& session) {
    auto& level = add_group(app, "level", "The level output");
    add_command<std::uint16_t>(
        level, "set", "Sets the level", {{{"VALUE", "0 to 65535, 32768 is the middle"}}},
        [&session](std::uint16_t value) { return session.controller().set_level(value); });
    add_command<bool>(level, "output", "Switches the output", {{{"on|off", ""}}},
                      [&session](bool on) { return session.controller().set_level_output(on); });
}

void add_outputs(CLI::App& app, session_t& session) {
    using output_e = io::control_t::output_e;
    using command_e = io::control_t::command_e;
    auto& outputs = add_group(app, "outputs", "The unit's outputs: a, b and c, and those of a page station");
    struct unit_output_t {
        const char* name;
        output_e output;
    };
    for (const auto& [name, output] :
         {unit_output_t{"a", output_e::a}, {"b", output_e::b}, {"c", output_e::c}}) {
        add_command<bool>(outputs, name, "Switches this output of the unit", {{{"on|off", ""}}},
                          [&session, which = output](bool on) {
                              return session.controller().set_output_enable(which, on);
                          });
    }
    struct station_output_t {
        const char* name;
        bool (io::page_station_t::*set)(bool);
    };
    using station_t = io::page_station_t;
    for (const auto& [name, set] : {station_output_t{"bit0", &station_t::set_output_bit0},
                                    {"bit1", &station_t::set_output_bit1},
                                    {"bit2", &station_t::set_output_bit2},
                                    {"bit14", &station_t::set_output_bit14}}) {
        add_command<bool>(outputs, name, "Switches this output of a page station", {{{"on|off", ""}}},
                          [&session, change = set](bool on) { return (session.page_station().*change)(on); });
    }
    auto& command = add_group(app, "command", "Sends a command to the unit");
    add_command(command, "a", "0xF00", {},
                [&session] { return session.controller().send_command(command_e::a); });
    add_command(command, "b", "0x8000", {},
                [&session] { return session.controller().send_command(command_e::b); });
    add_command(app, "pulse", "Sends a pulse", {}, [&session] { return session.controller().send_pulse(); });
}

}  // namespace

void add_controller_commands(CLI::App& app, session_t& session) {
    auto& controller = add_group(app, "controller", "The unit's controller");
    add_command(controller, "start", "Brings it up; takes the status line anew where the processor has it",
                {}, [&session] {
                    session.open();
                    return io::control().initialise(true);
                });
    add_command<std::optional<bool>>(controller, "enabled",
                                     "Prints or sets, in a script, a flag that no driver looks at: it is for "
                                     "controllers derived from this",
                                     {{{"on|off", ""}}}, [&session](const std::optional<bool>& on) {
                                         session.open();
                                         if (on) {
                                             io::control().set_enabled(*on);
                                         } else {
                                             std::puts(io::control().enabled() ? "on" : "off");
                                         }
                                     });
    add_command(controller, "revision", "Prints the hardware's revision", {}, [&session] {
        std::uint32_t revision = 0;
        const bool read = session.controller().get_hardware_revision(revision);
        return print_if(read, "%u\n", revision);
    });
    add_alert(app, session);
    add_fans_and_lamps(app, session);
    add_temperature(app, session);
    add_level(app, session);
    add_outputs(app, session);
}

}  // namespace tools::unitctl
