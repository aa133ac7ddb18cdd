#include "platform/paths.h"
#include "sim/root/system_path.h"
#include "sim/show/display_view.h"
#include "sim/show/verdict.h"
#include "sim/show/viewer.h"
#include "sim/unit/faults.h"
#include "sim/unit/scenario_player.h"
#include "sim/unit/unit.h"

#include <getopt.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;

constexpr const char* help = R"(usage: unit_sim [option ...]

Runs the daemon on a simulated unit, plays a firmware update and shows what comes of it.

  --unit NAME        the kind of unit (base-unit, or the one that shows the fault)
  --list-units       the kinds of unit, and end
  --scenario NAME    what happens: a scenario that comes with the simulator, or the path of a file (update)
  --list-scenarios   the scenarios, and end
  --fault NAME       something is wrong with the unit, from the start or in the middle third of the
                     scenario; may be repeated
  --list-faults      the faults, and end
  --speed FACTOR     play faster or slower (1)
  --pictures DIR     write a picture of the display for every state, and one at the end
  --plain            print a log even on a terminal
  --serve            run only the property engine and the notification service, at the unit's own paths on
                     this machine (or below FWSTATUS_UNIT_ROOT), for a daemon started by hand
  --log              print the daemon's own log at the end
  --keep             leave the unit running at the end, until Ctrl-C, and say how to poke it
  -h, --help         this text

Exit status: 0 when everything was as it should be, 1 when something was not, 2 for wrong usage.
)";

struct options_t {
    std::string unit;
    std::string scenario = "update";
    std::vector<const sim::fault_t*> faults;
    double speed = 1;
    std::string pictures;
    bool serve = false;
    bool plain = false;
    bool log = false;
    bool keep = false;
};

struct usage_error_t : std::runtime_error {
    using std::runtime_error::runtime_error;
};

void list_units() {
    for (const auto& unit : sim::unit_definitions()) {
        std::printf("%-18s %s\n", std::string{unit.name}.c_str(), std::string{unit.description}.c_str());
    }
}

void list_faults() {
    for (const auto& fault : sim::faults()) {
        std::printf("%-22s %-14s %s\n", fault.name.data(), fault.unit.data(), fault.description.data());
    }
}

void list_scenarios() {
    for (const auto& name : sim::scenario_names()) {
        std::printf("%-18s %s\n", name.c_str(), sim::load_scenario(name).title.c_str());
    }
}

double parse_speed(const char* text) {
    char* end = nullptr;
    const double speed = std::strtod(text, &end);
    if (*end != '\0' || !(speed >= 0.01 && speed <= 100)) {
        throw usage_error_t{"the speed must be a number from 0.01 to 100"};
    }
    return speed;
}

// Nothing when the call only asked for a list.
std::optional<options_t> parse_options(int argc, char** argv) {
    enum option_e {
        unit = 1,
        list_of_units,
        scenario,
        list_of_scenarios,
        fault,
        list_of_faults,
        speed,
        pictures,
        serve,
        plain,
        log,
        keep
    };
    constexpr option known[] = {{"unit", required_argument, nullptr, unit},
                                {"list-units", no_argument, nullptr, list_of_units},
                                {"scenario", required_argument, nullptr, scenario},
                                {"list-scenarios", no_argument, nullptr, list_of_scenarios},
                                {"fault", required_argument, nullptr, fault},
                                {"list-faults", no_argument, nullptr, list_of_faults},
                                {"speed", required_argument, nullptr, speed},
                                {"pictures", required_argument, nullptr, pictures},
                                {"serve", no_argument, nullptr, serve},
                                {"plain", no_argument, nullptr, plain},
                                {"log", no_argument, nullptr, log},
                                {"keep", no_argument, nullptr, keep},
                                {"help", no_argument, nullptr, 'h'},
                                {}};
    options_t options;
    for (int choice = 0; (choice = ::getopt_long(argc, argv, "h", known, nullptr)) != -1;) {
        switch (choice) {
        case unit:
            options.unit = optarg;
            break;
        case list_of_units:
            list_units();
            return std::nullopt;
        case scenario:
            options.scenario = optarg;
            break;
        case list_of_scenarios:
            list_scenarios();
            return std::nullopt;
        case fault:
            options.faults.push_back(sim::find_fault(optarg));
            if (options.faults.back() == nullptr) {
                throw usage_error_t{std::string{"no fault \""} + optarg + "\"; see unit_sim --list-faults"};
            }
            break;
        case list_of_faults:
            list_faults();
            return std::nullopt;
        case speed:
            options.speed = parse_speed(optarg);
            break;
        case pictures:
            options.pictures = optarg;
            break;
        case serve:
            options.serve = true;
            break;
        case plain:
            options.plain = true;
            break;
        case log:
            options.log = true;
            break;
        case keep:
            options.keep = true;
            break;
        case 'h':
            std::fputs(help, stdout);
            return std::nullopt;
        default:
            throw usage_error_t{"see unit_sim --help"};
        }
    }
    if (optind < argc) {
        throw usage_error_t{std::string{"unexpected \""} + argv[optind] + "\"; see unit_sim --help"};
    }
    if (options.unit.empty()) {
        options.unit = options.faults.empty() ? "base-unit" : options.faults.front()->unit;
    }
    if (sim::find_unit(options.unit) == nullptr) {
        throw usage_error_t{"no unit \"" + options.unit + "\"; see unit_sim --list-units"};
    }
    return options;
}

/// Writes pictures of the display: numbered, and named after the state they show.
class picture_book_t {
  public:
    picture_book_t(std::string directory, const sim::display_view_t* display)
        : directory_{display == nullptr ? "" : std::move(directory)}, display_{display} {
        if (!directory_.empty()) {
            std::filesystem::create_directories(directory_);
        }
    }

    // A state's picture is taken when the state is about to end, with the most to see on it.
    void note_state(const std::string& next_state) {
        if (!state_.empty()) {
            take(state_);
        }
        state_ = next_state;
    }
    void take(const std::string& name) {
        if (!directory_.empty()) {
            sim::write_png(directory_ + "/" + std::to_string(++count_) + "-" + name + ".png",
                           display_->pixels());
        }
    }

  private:
    std::string directory_;
    const sim::display_view_t* display_;
    std::string state_;
    int count_ = 0;
};

sim::works_t works_throughout(const std::vector<const sim::fault_t*>& faults) {
    sim::works_t works;
    for (const auto* const fault : faults) {
        works = works && fault->works_meanwhile && fault->works_after;
    }
    return works;
}

/// Lets faults begin and end: they last for the middle third of a scenario.
class troubles_t {
  public:
    troubles_t(const std::vector<const sim::fault_t*>& faults, sim::unit_t& unit, milliseconds duration)
        : faults_{faults}, unit_{unit}, duration_{duration} {}

    void look(milliseconds now) {
        if (const int phase = static_cast<int>(3 * now / duration_); phase == phase_ + 1 && phase < 3) {
            phase_ = phase;
            for (const auto* const fault : faults_) {
                if (const auto change = phase == 1 ? fault->begin : fault->end) {
                    change(unit_);
                }
            }
        }
    }

  private:
    const std::vector<const sim::fault_t*>& faults_;
    sim::unit_t& unit_;
    milliseconds duration_;
    int phase_ = 0;
};

// The opening: the daemon finds its display and makes its first pass.
void wait_for_first_pass(sim::unit_t& unit, sim::viewer_t& viewer) {
    const bool running = sim::wait_until([&] {
        viewer.show(0ms);
        return unit.status().counters().rewrites > 0 || !unit.daemon().is_running();
    });
    if (!running || !unit.daemon().is_running()) {
        throw std::runtime_error{"the daemon made no pass\n" + unit.console() + unit.log()};
    }
}

void play(const sim::scenario_t& scenario, const options_t& options, sim::unit_t& unit, sim::viewer_t& viewer,
          picture_book_t& pictures) {
    constexpr milliseconds frame{100};
    milliseconds next_frame{};
    troubles_t troubles{options.faults, unit, scenario.events.back().at};
    sim::scenario_watch_t watch;
    const auto works = works_throughout(options.faults);
    watch.daemon_shows_states = works.news && works.file;
    watch.meanwhile = [&](milliseconds now) {
        if (now >= next_frame) {
            viewer.show(now);
            next_frame = now + milliseconds{static_cast<long>(frame.count() * options.speed)};
        }
        troubles.look(now);
    };
    watch.before = [&](const sim::scenario_event_t& event) {
        if (event.kind == sim::scenario_event_t::kind_e::set_property &&
            event.name == "/sys/fw_status/state") {
            pictures.note_state(event.value);
        }
    };
    sim::play(scenario, options.speed, unit, watch);
    viewer.show(scenario.events.back().at);
}

void keep_running(sim::unit_t& unit) {
    const auto& root = unit.root().path();
    const auto propctl = "FWSTATUS_UNIT_ROOT=" + root + " " + sim::built_program("tools", "propctl-sim");
    std::cout << "\nThe unit keeps running until Ctrl-C. To poke it:\n"
              << "  " << propctl << " set /sys/fw_status/state fw_write\n"
              << "  " << propctl << " set /sys/fw_status/progress 42\n"
              << "  " << propctl << " monitor /sys/fw_status/state\n"
              << "  cat " << unit.root().file(std::string{zel::paths::www_directory} + "fw_status.xml")
              << "\n"
              << "  tail -f " << unit.root().file("/sim/log") << "\n";
    while (unit.daemon().is_running()) {
        std::this_thread::sleep_for(200ms);
    }
    std::cout << "The daemon has ended.\n";
}

int report(const sim::verdict_t& verdict) {
    std::cout << "\n";
    for (const auto& fact : verdict.facts) {
        std::cout << "  " << fact << "\n";
    }
    for (const auto& fault : verdict.faults) {
        std::cout << "  WRONG: " << fault << "\n";
    }
    std::cout << (verdict.faults.empty() ? "  All as it should be.\n" : "") << std::flush;
    return verdict.faults.empty() ? 0 : 1;
}

// Plays a scenario to a daemon that somebody else starts, over and over, until Ctrl-C.
int serve(const options_t& options) {
    const auto scenario = sim::load_scenario(options.scenario);
    sim::engine_t engine;
    sim::notification_service_t notifications;
    sim::publish_identity(engine, sim::find_unit(options.unit)->properties);
    if (!engine.start() || !notifications.start()) {
        throw std::runtime_error{"cannot bind the sockets below \"" + sim::unit_root() + "/tmp\""};
    }
    std::cout << "Serving " << options.unit << " at " << sim::unit_root() << zel::paths::property_engine
              << " and " << sim::unit_root() << zel::paths::notification_service << ", scenario \""
              << scenario.name << "\" over and over, until Ctrl-C." << std::endl;
    for (;;) {
        milliseconds last{};
        for (const auto& event : scenario.events) {
            std::this_thread::sleep_for((event.at - last) / options.speed);
            last = event.at;
            if (event.kind == sim::scenario_event_t::kind_e::set_property) {
                engine.set(event.name, event.value);
            }
        }
        const auto counts = notifications.counts();
        std::cout << "received: " << counts.begins << " begin, " << counts.states << " state, "
                  << counts.progresses << " progress" << std::endl;
    }
}

int simulate(const options_t& options) {
    const auto scenario = sim::load_scenario(options.scenario);
    auto builder = sim::unit_builder_t{options.unit};
    for (const auto* const fault : options.faults) {
        if (fault->arrange != nullptr) {
            fault->arrange(builder);
        }
    }
    const auto unit = builder.start();
    const auto display = sim::make_display_view(*unit);
    const bool live = !options.plain && ::isatty(STDOUT_FILENO) != 0;
    if (!live) {
        std::cout << "unit_sim: " << unit->definition().name << " (" << unit->definition().description
                  << "), scenario \"" << scenario.name << "\": " << scenario.title << std::endl;
    }
    picture_book_t pictures{options.pictures, display.get()};
    {
        sim::viewer_t viewer{*unit, display.get(), scenario, live};
        wait_for_first_pass(*unit, viewer);
        play(scenario, options, *unit, viewer, pictures);
    }
    if (display) {
        for (const auto& line : display->lines(sim::terminal_columns() - 2)) {
            std::cout << "  " << line << "\n";
        }
    }
    pictures.take("end");
    const int status = report(sim::judge(*unit, display.get(), scenario, works_throughout(options.faults)));
    if (options.log) {
        std::cout << "\n" << unit->log() << std::flush;
    }
    if (options.keep) {
        keep_running(*unit);
    }
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        const auto options = parse_options(argc, argv);
        if (!options) {
            return 0;
        }
        return options->serve ? serve(*options) : simulate(*options);
    } catch (const usage_error_t& error) {
        std::cerr << "unit_sim: " << error.what() << "\n";
        return 2;
    } catch (const std::exception& error) {
        std::cerr << "unit_sim: " << error.what() << "\n";
        return 1;
    }
}
