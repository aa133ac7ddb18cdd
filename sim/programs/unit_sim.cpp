#include "ipc/unix_stream_socket.h"
#include "platform/paths.h"
#include "platform/system_path.h"
#include "sim/programs/options.h"
#include "sim/root/system_path.h"
#include "sim/show/display_view.h"
#include "sim/show/live_console.h"
#include "sim/show/verdict.h"
#include "sim/show/viewer.h"
#include "sim/unit/faults.h"
#include "sim/unit/scenario_player.h"
#include "sim/unit/troubles.h"
#include "sim/unit/unit.h"

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <iostream>
#include <numeric>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <variant>
#include <vector>

namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;

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

/// What belongs to one unit while it runs.
struct running_unit_t {
    sim::unit_t& unit;
    sim::display_view_t* display;
    sim::troubles_t troubles;
    bool live;
    std::vector<std::string> differences{};  ///< seen on the way
};

void play(const options_t& options, running_unit_t& running, sim::viewer_t& viewer,
          picture_book_t& pictures) {
    constexpr milliseconds frame{100};
    const auto duration = options.scenario.events.back().at;
    milliseconds next_frame{};
    milliseconds now{};
    sim::scenario_watch_t watch;
    const auto works = std::accumulate(options.faults.begin(), options.faults.end(), sim::works_t{},
                                       [](const auto& all, const auto* fault) {
                                           return all && fault->works_meanwhile && fault->works_after;
                                       });
    watch.daemon_shows_states = works.news && works.file;
    watch.meanwhile = [&](milliseconds time) {
        now = time;
        if (now >= next_frame) {
            viewer.show(now);
            next_frame = now + milliseconds{static_cast<long>(frame.count() * options.speed)};
        }
        running.troubles.follow(now, duration);
    };
    watch.before = [&](const sim::scenario_event_t& event) {
        if (event.kind != sim::scenario_event_t::kind_e::set_property ||
            event.name != "/sys/fw_status/state") {
            return;
        }
        pictures.note_state(event.value);
        const auto* const display =
            running.display != nullptr && running.display->in_use() && running.display->keeps_up()
                ? running.display
                : nullptr;
        if (const auto difference = difference_to_published(running.unit, display, works);
            !difference.empty()) {
            running.differences.push_back("after " + sim::seconds_text(now) + " " + difference);
        }
    };
    sim::play(options.scenario, options.speed, running.unit, watch);
    viewer.show(duration);
}

// Commands that a unit of this kind understands; with a daemon, which holds its display.
void say_how_to_poke(sim::unit_t& unit, bool with_daemon) {
    const auto& kind = unit.definition();
    const auto place = "FWSTATUS_UNIT_ROOT=" + unit.root().path() + " ";
    const auto unitctl = place + sim::built_program("tools/unitctl", "unitctl-sim");
    const auto held = unitctl + (with_daemon ? " --force" : "");
    std::cout << "\nThe unit keeps running until Ctrl-C. To poke it:\n";
    if (with_daemon) {
        const auto propctl = place + sim::built_program("tools", "propctl-sim");
        std::cout << "  " << propctl << " set /sys/fw_status/state fw_write\n"
                  << "  " << propctl << " set /sys/fw_status/progress 42\n"
                  << "  " << propctl << " monitor /sys/fw_status/state\n"
                  << "  cat " << unit.root().file(std::string{zel::paths::www_directory} + "fw_status.xml")
                  << "\n"
                  << "  tail -f " << unit.root().file("/sim/log") << "\n";
    }
    std::cout << "  " << unitctl << " info\n";
    if (kind.has_front_panel || kind.has_page_station) {
        std::cout << "  " << held << " lcd text 1 \"by hand\" --show\n"
                  << "  " << unitctl << (kind.has_front_panel ? " press button 1" : " press key 5") << "\n"
                  << "  " << held << (kind.has_front_panel ? " buttons" : " keys") << " --watch\n";
    }
    if (kind.has_serial_panel) {
        std::cout << "  " << held << " serial 42 --show\n";
    }
    std::cout << "  " << unitctl << " --help" << std::endl;
}

// A unit without a daemon: the commands of unitctl are the only ones on it.
int keep_board(const options_t& options) {
    auto builder = sim::unit_builder_t{options.unit};
    builder.prepared_by([](sim::unit_t& unit) { unit.root().guardian().end_on_signals(); });
    const auto unit = builder.without_notification_service().without_daemon().start();
    std::cout << "unit_sim: " << unit->definition().name << " (" << unit->definition().description << ")\n";
    say_how_to_poke(*unit, false);
    for (;;) {
        ::pause();
    }
}

void keep_running(const options_t& options, running_unit_t& running) {
    const auto start = std::chrono::steady_clock::now() - options.scenario.events.back().at;
    const auto now = [&] {
        return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - start);
    };
    say_how_to_poke(running.unit, true);
    if (running.live && ::isatty(STDIN_FILENO) != 0) {
        sim::viewer_t viewer{running.unit, running.display, options.scenario, true};
        sim::live_console_t console{running.unit, running.troubles};
        while (running.unit.daemon().is_running() && console.take_keys(now())) {
            viewer.show(now(), console.help());
        }
    } else {
        while (running.unit.daemon().is_running()) {
            std::this_thread::sleep_for(200ms);
        }
    }
    if (!running.unit.daemon().is_running()) {
        std::cout << "The daemon has ended.\n";
    }
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
    const auto& scenario = options.scenario;
    for (const auto path : {zel::paths::property_engine, zel::paths::notification_service}) {
        if (zel::unix_stream_socket_t{std::string{path}}.connect()) {
            throw std::runtime_error{"somebody serves at \"" + zel::system_path(path) + "\" already"};
        }
    }
    const sim::guardian_t guardian;
    guardian.note_file(zel::system_path(zel::paths::property_engine));
    guardian.note_file(zel::system_path(zel::paths::notification_service));
    guardian.end_on_signals();
    sim::engine_t engine;
    sim::notification_service_t notifications;
    sim::publish_identity(engine, sim::find_unit(options.unit)->properties);
    if (!engine.start() || !notifications.start()) {
        throw std::runtime_error{"cannot bind the sockets below \"" + sim::unit_root() + "/tmp\""};
    }
    std::cout << "Serving " << options.unit << " at " << sim::unit_root() << zel::paths::property_engine
              << " and " << sim::unit_root() << zel::paths::notification_service << ", scenario \""
              << scenario.name << "\" over and over, until Ctrl-C." << std::endl;
    for (std::uint64_t told = 0;;) {
        milliseconds last{};
        for (const auto& event : scenario.events) {
            std::this_thread::sleep_for((event.at - last) / options.speed);
            last = event.at;
            if (event.kind == sim::scenario_event_t::kind_e::set_property) {
                engine.set(event.name, event.value);
            }
        }
        const auto counts = notifications.counts();
        if (counts.states != std::exchange(told, counts.states)) {
            std::cout << "received: " << counts.begins << " begin, " << counts.states << " state, "
                      << counts.progresses << " progress" << std::endl;
        }
    }
}

int simulate(const options_t& options) {
    const auto& scenario = options.scenario;
    auto builder = sim::unit_builder_t{options.unit};
    builder.prepared_by([](sim::unit_t& unit) { unit.root().guardian().end_on_signals(); });
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
    running_unit_t running{*unit, display.get(), {*unit, options.faults}, live};
    {
        sim::viewer_t viewer{*unit, display.get(), scenario, live};
        wait_for_first_pass(*unit, viewer);
        play(options, running, viewer, pictures);
    }
    auto verdict = sim::judge(*unit, display.get(), scenario, running.troubles);
    verdict.faults.insert(verdict.faults.end(), running.differences.begin(), running.differences.end());
    if (display) {
        for (const auto& line : display->lines(sim::terminal_columns() - 2)) {
            std::cout << "  " << line << "\n";
        }
    }
    pictures.take("end");
    const int status = report(verdict);
    if (options.log) {
        std::cout << "\n" << unit->log() << std::flush;
    }
    if (options.keep) {
        keep_running(options, running);
    }
    return status;
}

int move_key_of_running_unit(const options_t& options) {
    if (sim::unit_root().empty()) {
        throw std::runtime_error{"FWSTATUS_UNIT_ROOT does not say which unit"};
    }
    const auto unit = sim::definition_of_this_unit();
    if (!unit.has_front_panel && !unit.has_page_station) {
        throw std::runtime_error{"a " + std::string{unit.name} + " has no keys"};
    }
    const auto number = options.press ? *options.press : *options.release;
    if (number >= (unit.has_front_panel ? 3U : 64U)) {
        throw std::runtime_error{"a " + std::string{unit.name} + " has no key " + std::to_string(number)};
    }
    sim::move_key(unit, number, options.press.has_value());
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        const auto read = read_options(argc, argv);
        if (const auto* const status = std::get_if<int>(&read)) {
            return *status;
        }
        const auto& options = std::get<options_t>(read);
        if (options.web.is_on) {
            return run_web_unit(options.unit, options.plain, options.web);
        }
        return options.press || options.release ? move_key_of_running_unit(options)
               : options.board                  ? keep_board(options)
               : options.serve                  ? serve(options)
                                                : simulate(options);
    } catch (const std::exception& error) {
        std::cerr << "unit_sim: " << error.what() << "\n";
        return 1;
    }
}
