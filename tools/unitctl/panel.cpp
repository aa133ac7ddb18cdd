#include "tools/unitctl/families.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace tools::unitctl {

namespace {

using namespace std::chrono_literals;

constexpr std::array led_states{"off", "first", "both", "second"};
constexpr auto step_time = 300ms;

io::front_panel_t& panel_with_leds(session_t& session) {
    auto& panel = session.front_panel();
    if (io::system_t::platform_id() == io::platform_tables::platform_without_led_image && !session.force) {
        throw refusal_t{"this unit's front panel takes no LEDs' states; --force repeats its last transfer"};
    }
    return panel;
}

void add_leds(CLI::App& app, session_t& session) {
    auto& led = add_group(app, "led", "The two-colour LEDs of a front panel, the key LEDs of a page station");
    constexpr const char* states_help = "0 off, 1 first colour, 2 both, 3 second colour";
    add_command<unsigned, int>(led, "one", "Lights one LED of the front panel and puts out all others",
                               {{{"LED", "0 to 20"}, {"STATE", states_help}}},
                               [&session](unsigned number, int state) {
                                   std::array<int, io::panel_led_count> states{};
                                   if (number >= states.size()) {
                                       throw refusal_t{"there is no LED " + std::to_string(number)};
                                   }
                                   states.at(number) = state;
                                   return panel_with_leds(session).set_leds(states);
                               });
    add_command<std::vector<int>>(
        led, "set", "Sets the LEDs of the front panel, from LED 0 on",
        {{{"STATE", "Of up to 21 LEDs; the others are put out. Like those of one LED"}}},
        [&session](const std::vector<int>& wanted) {
            std::array<int, io::panel_led_count> states{};
            if (wanted.size() > states.size()) {
                throw refusal_t{"there are 21 LEDs"};
            }
            std::ranges::copy(wanted, states.begin());
            return panel_with_leds(session).set_leds(states);
        });
    add_command<int>(led, "all", "Lights all LEDs of the front panel alike", {{{"STATE", states_help}}},
                     [&session](int state) { return panel_with_leds(session).set_all_leds(state); });
    struct bank_t {
        const char* name;
        bool (io::page_station_t::*set)(int, bool, bool);
    };
    for (const auto& [name, set] :
         {bank_t{"a", &io::page_station_t::set_led_a}, {"b", &io::page_station_t::set_led_b}}) {
        const auto held = std::make_shared<bool>(false);
        add_command<int, bool>(led, name,
                               "Switches a key LED of this bank of a page station; all LEDs that this "
                               "process has not lit go out",
                               {{{"LED", "0 to 32"}, {"on|off", ""}}},
                               [&session, held, change = set](int number, bool on) {
                                   return (session.page_station().*change)(number, on, !*held);
                               })
            .add_flag("--hold", *held, "Do not send it yet, in a script");
    }
    add_command(led, "send", "Sends the key LEDs that were held back, in a script", {},
                [&session] { return session.page_station().send_leds(); });
}

bool walk_front_panel(session_t& session, std::chrono::milliseconds limit) {
    auto& panel = panel_with_leds(session);
    std::size_t at = 0;
    bool lights = true;
    session.repeat(step_time, limit, [&] {
        const auto led = at / 3 % io::panel_led_count;
        const int state = static_cast<int>(at++ % 3) + 1;
        std::array<int, io::panel_led_count> states{};
        states.at(led) = state;
        std::printf("LED %zu %s\n", led, led_states.at(static_cast<std::size_t>(state)));
        return lights = panel.set_leds(states);
    });
    return panel.set_all_leds(0) && lights;
}

bool walk_page_station(session_t& session, std::chrono::milliseconds limit) {
    auto& station = session.page_station();
    int at = 0;
    bool (io::page_station_t::*set)(int, bool, bool) = &io::page_station_t::set_led_a;
    bool lights = true;
    session.repeat(step_time, limit, [&] {
        std::printf("LED %c %d\n", set == &io::page_station_t::set_led_a ? 'a' : 'b', at);
        lights = (station.*set)(at, true, true) && (station.*set)(at, false, false);
        if (++at == io::page_station_t::led_count) {
            at = 0;
            set = set == &io::page_station_t::set_led_a ? &io::page_station_t::set_led_b
                                                        : &io::page_station_t::set_led_a;
        }
        return lights;
    });
    return station.send_leds() && lights;
}

bool walk(session_t& session, const std::optional<double>& seconds) {
    const auto limit = time_limit(seconds);
    session.open();
    return io::system_t::is_page_station() ? walk_page_station(session, limit)
                                           : walk_front_panel(session, limit);
}

void add_walk(CLI::App& led, session_t& session) {
    constexpr const char* help = "Lights one LED after the other, in each colour, until Ctrl-C";
    const auto seconds = std::make_shared<std::optional<double>>();
    auto* const flag = led.add_flag("--walk", help);
    for (auto* const command : led.get_subcommands({})) {
        command->excludes(flag);
    }
    led.add_option("--for", *seconds, time_limit_help)->needs(flag);
    add_default(led, [&session, seconds, flag] {
        if (flag->count() == 0) {
            throw CLI::RequiredError::Subcommand(1);
        }
        return walk(session, *seconds);
    });
    add_command(led, "walk", "The same as --walk", {}, [&session, seconds] {
        return walk(session, *seconds);
    }).add_option("--for", *seconds, time_limit_help);
}

void print_buttons(std::uint32_t pressed) {
    for (unsigned button = 0; button < io::front_panel_t::button_count; ++button) {
        std::printf("%sbutton %u %s", button == 0 ? "" : ", ", button,
                    (pressed >> button & 1U) != 0 ? "down" : "up");
    }
    std::puts("");
}

bool read_buttons(session_t& session, bool watch, std::chrono::milliseconds limit) {
    auto& panel = session.front_panel();
    std::uint32_t pressed = 0;
    if (!panel.poll_buttons(pressed)) {
        return false;
    }
    print_buttons(pressed);
    bool answers = true;
    if (watch) {
        session.repeat(10ms, limit, [&, last = pressed]() mutable {
            answers = panel.poll_buttons(pressed);
            if (pressed != last) {
                print_buttons(pressed);
                last = pressed;
            }
            return answers;
        });
    }
    return answers;
}

void add_buttons(CLI::App& app, session_t& session) {
    struct watch_t {
        bool on = false;
        std::optional<double> seconds;
    };
    const auto watch = std::make_shared<watch_t>();
    auto& buttons = add_command(
        app, "buttons",
        "Prints which of the front panel's buttons are pressed; each process counts those that it finds "
        "pressed as pressed anew",
        {}, [&session, watch] { return read_buttons(session, watch->on, time_limit(watch->seconds)); });
    auto* const flag =
        buttons.add_flag("--watch", watch->on, "Go on, with a line for every change, until Ctrl-C");
    buttons.add_option("--for", watch->seconds, time_limit_help)->needs(flag);

    auto& counter = add_group(app, "counter", "How often the buttons were pressed and released");
    struct counter_t {
        const char* name;
        bool (io::front_panel_t::*get)(unsigned, std::uint32_t&) const;
        bool (io::front_panel_t::*set)(unsigned, std::uint32_t);
    };
    using panel_t = io::front_panel_t;
    for (const auto& [name, get, set] :
         {counter_t{"presses", &panel_t::get_press_count, &panel_t::set_press_count},
          {"releases", &panel_t::get_release_count, &panel_t::set_release_count}}) {
        add_command<unsigned, std::optional<std::uint32_t>>(
            counter, name, "Prints or sets this counter of a button",
            {{{"BUTTON", "0 to 2"}, {"COUNT", "A new count"}}},
            [&session, read = get, write = set](unsigned button, const std::optional<std::uint32_t>& count) {
                auto& panel = session.front_panel();
                if (count) {
                    return (panel.*write)(button, *count);
                }
                std::uint32_t value = 0;
                const bool is_read = (panel.*read)(button, value);
                return print_if(is_read, "%u\n", value);
            });
    }
}

}  // namespace

void add_panel_commands(CLI::App& app, session_t& session) {
    auto& panel = add_group(app, "panel", "The front panel");
    const auto reset = std::make_shared<bool>(false);
    add_command(panel, "start", "Brings it up", {}, [&session, reset] {
        session.open();
        session.claim_display();
        return io::front_panel().initialise(*reset);
    }).add_flag("--reset", *reset, "Reset panel and LCD as well");
    add_command(panel, "revision", "Prints its revision", {}, [&session] {
        int revision = 0;
        const bool read = session.front_panel().read_revision(revision);
        return print_if(read, "%d\n", revision);
    });
    add_command<int, int, std::uint32_t>(app, "slot", "Sets a slot channel's state in the shared region",
                                         {{{"SLOT", "From 0 on; the one behind the last is the unit"},
                                           {"CHANNEL", "0 to 4"},
                                           {"STATE", "Any number"}}},
                                         [&session](int slot, int channel, std::uint32_t state) {
                                             return session.front_panel().set_slot_channel_state(
                                                 slot, channel, state);
                                         });
    add_leds(app, session);
    add_walk(*app.get_subcommand("led"), session);
    add_buttons(app, session);
}

}  // namespace tools::unitctl
