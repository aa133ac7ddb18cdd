// unitctl-sim: unitctl on a simulated unit, with what can be done to its board from outside.

#include "platform/paths.h"
#include "sim/programs/board_commands.h"
#include "sim/programs/board_view.h"
#include "sim/root/system_path.h"
#include "sim/root/violations.h"
#include "sim/show/seven_segment_picture.h"
#include "sim/unit/unit.h"
#include "tools/unitctl/runner.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <sstream>
#include <string>

namespace {

using tools::unitctl::refusal_t;

/// The unit that this process made for itself, when it was asked to.
std::unique_ptr<sim::unit_t>& own_unit() {
    static std::unique_ptr<sim::unit_t> unit;
    return unit;
}

void make_unit(const std::string& name) {
    if (own_unit()) {
        throw refusal_t{"one process has one unit"};
    }
    if (sim::find_unit(name) == nullptr) {
        throw refusal_t{"no unit \"" + name + "\"; see unit_sim --list-units"};
    }
    own_unit() = sim::unit_builder_t{name}.without_notification_service().without_daemon().start();
}

/// Up to which character `sim::violations` has been told; what others caused before this process counts as
/// told.
std::size_t& told() {
    static std::size_t characters = own_unit() ? 0 : sim::violations().size();
    return characters;
}

void require_unit() {
    if (sim::unit_root().empty()) {
        throw refusal_t{"which unit? Give --unit NAME for one of its own, or FWSTATUS_UNIT_ROOT for one that "
                        "unit_sim --keep or --board runs"};
    }
    told();
}

/// What devices did not understand since the last call, the same in a row on one line; apart from the results
/// where a daemon may be beside it that causes some as well.
void print_violations() {
    const auto all = sim::violations();
    std::istringstream fresh{all.substr(std::min(told(), all.size()))};
    told() = all.size();
    std::FILE* const output = own_unit() ? stdout : stderr;
    std::string last;
    std::size_t times = 0;
    const auto print_last = [&] {
        if (times != 0) {
            std::fprintf(output, times == 1 ? "%s\n" : "%s x %zu\n", last.c_str(), times);
        }
    };
    for (std::string line; std::getline(fresh, line); ++times) {
        if (line != last) {
            print_last();
            last = line;
            times = 0;
        }
    }
    print_last();
}

void show_frame(std::size_t number) {
    constexpr std::chrono::seconds patience{20};
    auto* const module = own_unit() ? own_unit()->serial_module() : nullptr;
    if (module == nullptr || number == 0 || !module->wait_for_frames(number, patience)) {
        throw refusal_t{"there is no such frame"};
    }
    std::fputs(sim::seven_segment_text(module->display()).c_str(), stdout);
}

struct after_t {
    bool show = false;
    std::string picture;
};

void add_simulation(CLI::App& app, tools::unitctl::session_t& /*session*/) {
    const auto after = std::make_shared<after_t>();
    app.add_option_function<std::string>("--unit", make_unit,
                                         "Run on a new unit of this kind, which is gone afterwards");
    app.add_flag("--show", after->show, "Show display, LEDs and lamps behind the command");
    app.add_option("--picture", after->picture,
                   "Write a picture of display, LEDs and lamps to this file behind the command");
    app.parse_complete_callback(require_unit);
    app.final_callback([after] {
        const auto unit = sim::definition_of_this_unit();
        if (after->show) {
            std::fputs(sim::shown_by(unit).c_str(), stdout);
        }
        if (!after->picture.empty()) {
            sim::write_picture(unit, after->picture);
        }
        print_violations();
    });
    sim::add_board_commands(app);
    tools::unitctl::add_command<std::size_t>(
        *app.get_subcommand("show"), "frame",
        "The serial panel when its module, one of this process, has taken so many frames",
        {{{"FRAMES", "Waits for them"}}}, show_frame);
}

}  // namespace

int main(int argc, char** argv) {
    const int status = tools::unitctl::run_program(argc, argv, add_simulation);
    own_unit().reset();
    return status;
}
