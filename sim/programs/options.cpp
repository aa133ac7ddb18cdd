#include "sim/programs/options.h"

#include "platform/version.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <iostream>

namespace {

constexpr const char* description = "Runs the daemon on a simulated unit, plays a firmware update and shows "
                                    "what comes of it.";
constexpr const char* exit_statuses = "Exit status: 0 when everything was as it should be, 1 when something "
                                      "was not, 2 for wrong usage.";
constexpr int wrong_usage = 2;

void list_units() {
    for (const auto& unit : sim::unit_definitions()) {
        std::printf("%-18s %s\n", unit.name.data(), unit.description.data());
    }
}

void list_faults() {
    for (const auto& fault : sim::faults()) {
        std::printf("%-22s %-14s %s\n", fault.name.data(), fault.unit.data(), fault.description.data());
    }
    list_web_faults();
}

void list_scenarios() {
    for (const auto& name : sim::scenario_names()) {
        std::printf("%-18s %s\n", name.c_str(), sim::load_scenario(name).title.c_str());
    }
}

void add_list(CLI::App& app, const char* name, const char* help, void (*list)()) {
    app.add_flag_callback(
        name,
        [list] {
            list();
            throw CLI::Success{};
        },
        help);
}

void add_what_to_play(CLI::App& app, options_t& options, std::string& scenario) {
    app.add_option("--unit", options.unit, "the kind of unit (base-unit, or the one that shows the fault)")
        ->type_name("NAME");
    add_list(app, "--list-units", "the kinds of unit, and end", list_units);
    app.add_option("--scenario", scenario,
                   "what happens: a scenario that comes with the simulator,\nor the path of a file")
        ->type_name("NAME")
        ->capture_default_str();
    add_list(app, "--list-scenarios", "the scenarios, and end", list_scenarios);
    const auto add_fault = [&options](const std::string& name) {
        if (set_web_fault(options.web, name)) {
            return;
        }
        const auto* const fault = sim::find_fault(name);
        if (fault == nullptr) {
            throw CLI::ValidationError{"no fault \"" + name + "\"; see unit_sim --list-faults"};
        }
        options.faults.push_back(fault);
    };
    app.add_option_function<std::vector<std::string>>(
           "--fault", [add_fault](const auto& names) { std::ranges::for_each(names, add_fault); },
           "something is wrong with the unit, from the start or in the\nmiddle third of the scenario; may be "
           "repeated")
        ->type_name("NAME")
        ->expected(1)
        ->take_all();
    add_list(app, "--list-faults", "the faults, and end", list_faults);
    app.add_option("--speed", options.speed, "play faster or slower")
        ->type_name("FACTOR")
        ->check(CLI::Range{0.01, 100.0}.description(""))
        ->capture_default_str();
}

void add_what_to_show(CLI::App& app, options_t& options) {
    app.add_option("--pictures", options.pictures,
                   "write a picture of the display for every state, and one at\nthe end")
        ->type_name("DIR");
    app.add_flag("--plain", options.plain, "print a log even on a terminal");
    app.add_flag("--log", options.log, "print the daemon's own log at the end");
    app.add_flag("--keep", options.keep,
                 "leave the unit running at the end, until Ctrl-C: on a terminal with keys for\nstates, "
                 "percentages, faults and buttons; say how else to poke it");
    app.add_flag("--board", options.board,
                 "no daemon and no scenario: a unit for unitctl alone, until Ctrl-C");
    app.add_flag("--serve", options.serve,
                 "run only the property engine and the notification service, at\nthe unit's own paths on "
                 "this machine (or below\nFWSTATUS_UNIT_ROOT), for a daemon started by hand");
}

void add_hand_on_a_unit(CLI::App& app, options_t& options) {
    constexpr const char* where = " of the running unit below FWSTATUS_UNIT_ROOT, and end";
    app.add_option("--press", options.press, std::string{"press a button or key"} + where)
        ->type_name("NUMBER");
    app.add_option("--release", options.release, std::string{"release it"} + where)->type_name("NUMBER");
}

/// One of the things that the program does, and the options that this heeds.
struct service_t {
    std::string option;  ///< empty: what it does without any of these
    std::vector<std::string> heeds;
};

void refuse_what_would_do_nothing(const CLI::App& app) {
    const service_t services[] = {
        {"--press", {}},
        {"--release", {}},
        {"--web", {"--unit", "--fault", "--plain", "--flash-rate", "--mirror", "--mirror-columns"}},
        {"--board", {"--unit"}},
        {"--serve", {"--unit", "--scenario", "--speed", "--plain"}},
        {"", {"--unit", "--scenario", "--fault", "--speed", "--pictures", "--plain", "--log", "--keep"}},
    };
    std::vector<std::string> given;
    for (const auto* const option : app.get_options()) {
        if (option->count() > 0) {
            given.push_back(option->get_name());
        }
    }
    const auto& service = *std::ranges::find_if(services, [&](const service_t& each) {
        return each.option.empty() || std::ranges::find(given, each.option) != given.end();
    });
    for (const auto& name : given) {
        if (name != service.option && std::ranges::find(service.heeds, name) == service.heeds.end()) {
            throw CLI::ValidationError{name + " does nothing " +
                                       (service.option.empty() ? "without --web" : "with " + service.option)};
        }
    }
}

// What can be said about the options only once all are known.
void complete(options_t& options, const std::string& scenario) {
    if (options.unit.empty()) {
        options.unit = options.faults.empty() ? "base-unit" : options.faults.front()->unit;
    }
    const auto* const unit = sim::find_unit(options.unit);
    if (unit == nullptr) {
        throw CLI::ValidationError{"no unit \"" + options.unit + "\"; see unit_sim --list-units"};
    }
    if (options.web.is_on ? !options.faults.empty() : options.web.fault != nullptr) {
        throw CLI::ValidationError{"faults with --web are those that unit_sim --list-faults says so of"};
    }
    for (const auto* const fault : options.faults) {
        if (!fault->possible_on(*unit)) {
            throw CLI::ValidationError{"a " + options.unit + " cannot have the fault \"" +
                                       std::string{fault->name} + "\""};
        }
    }
    try {
        options.scenario = sim::load_scenario(scenario);
    } catch (const std::exception& error) {
        throw CLI::ValidationError{std::string{error.what()} + "; see unit_sim --list-scenarios"};
    }
}

}  // namespace

std::variant<options_t, int> read_options(int argc, char** argv) {
    options_t options;
    std::string scenario = "update";
    CLI::App app{description, "unit_sim"};
    app.set_help_flag("-h,--help", "this text");
    app.set_version_flag("--version", std::string{zel::version_text()})->description("the version, and end");
    app.option_defaults()->take_last();
    app.footer(exit_statuses);
    add_what_to_play(app, options, scenario);
    add_what_to_show(app, options);
    add_web_options(app, options.web);
    add_hand_on_a_unit(app, options);
    try {
        app.parse(argc, argv);
        refuse_what_would_do_nothing(app);
        complete(options, scenario);
    } catch (const CLI::Success& done) {
        return app.exit(done);
    } catch (const CLI::Error& error) {
        std::cerr << "unit_sim: " << error.what() << "\nunit_sim --help tells more.\n";
        return wrong_usage;
    }
    return options;
}
