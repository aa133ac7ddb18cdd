#include "sim/programs/web_mode.h"

#include "sim/root/violations.h"
#include "sim/show/display_view.h"
#include "sim/show/viewer.h"
#include "sim/unit/troubles.h"
#include "sim/unit/unit.h"
#include "sim/web/web_unit.h"

#include <CLI/CLI.hpp>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>

namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr unsigned highest_port = 65535;
constexpr milliseconds frame{100};
constexpr double kilobyte = 1024;

sigset_t ending_signals() {
    sigset_t set{};
    ::sigemptyset(&set);
    ::sigaddset(&set, SIGINT);
    ::sigaddset(&set, SIGTERM);
    return set;
}

// Whether one of the ending signals came within the time.
bool is_told_to_end(milliseconds time) {
    const auto set = ending_signals();
    const timespec patience{0, std::chrono::nanoseconds{time}.count()};
    return ::sigtimedwait(&set, nullptr, &patience) > 0;
}

// The display as text, in one piece for whoever reads it meanwhile.
void mirror(const sim::display_view_t& display, const web_options_t& options) {
    const auto part = options.mirror + ".part";
    std::ofstream file{part};
    for (const auto& line : display.lines(options.mirror_columns)) {
        file << line << '\n';
    }
    file.close();
    std::filesystem::rename(part, options.mirror);
}

int report_updates(const sim::web_unit_t& web, const sim::web_fault_t* fault,
                   steady_clock::time_point begun) {
    const auto clock = [&](steady_clock::time_point time) {
        return sim::seconds_text(std::chrono::duration_cast<milliseconds>(time - begun));
    };
    std::cout << "\n";
    if (fault != nullptr) {
        std::cout << "  fault             " << fault->name << ", "
                  << (!fault->waits() ? "throughout"
                      : web.struck()  ? "from " + clock(*web.struck()) + " to " + clock(steady_clock::now())
                                      : "never began")
                  << "\n";
    }
    std::cout << "  updates           " << web.reboots() << "\n";
    std::string wrong;
    if (web.daemon_lost()) {
        wrong += "  WRONG: the daemon was gone at " + clock(*web.daemon_lost()) + "\n";
    }
    if (const auto violations = sim::violations(); !violations.empty()) {
        wrong += "  WRONG: a device was misused: " + violations;
    }
    std::cout << (wrong.empty() ? "  All as it should be.\n" : wrong) << std::flush;
    return wrong.empty() ? 0 : 1;
}

}  // namespace

void add_web_options(CLI::App& app, web_options_t& options) {
    app.add_option_function<std::vector<std::string>>(
           "--web",
           [&options](const std::vector<std::string>& words) {
               options.is_on = true;
               const auto port = words.empty() ? std::string{} : words.front();
               if (!port.empty() &&
                   (!CLI::detail::lexical_cast(port, options.port) || options.port > highest_port)) {
                   throw CLI::ValidationError{"--web: no port \"" + port + "\""};
               }
           },
           "play no scenario, but run the unit with its web server, which\ntakes firmware at "
           "/cgi-bin/fw_upload, "
           "until Ctrl-C; on a free\nport of this machine, or that one")
        ->type_name("[PORT]")
        ->expected(0, 1);
    app.add_option("--flash-rate", options.rate, "with --web: kB that the unit writes in a second")
        ->type_name("KB")
        ->check(CLI::Range{1.0, 1e6}.description(""))
        ->capture_default_str();
    auto* const mirror =
        app.add_option("--mirror", options.mirror, "with --web: keep the display, as text, in a file")
            ->type_name("FILE");
    app.add_option("--mirror-columns", options.mirror_columns, "how wide that text is")
        ->type_name("N")
        ->default_val(60)
        ->needs(mirror);
}

void list_web_faults() {
    for (const auto& fault : sim::web_faults()) {
        std::printf("%-22s %-14s %s\n", fault.name.data(), "any, --web", fault.description.data());
    }
}

bool set_web_fault(web_options_t& options, const std::string& name) {
    const auto* const found = sim::find_web_fault(name);
    options.fault = found == nullptr ? options.fault : found;
    return found != nullptr;
}

int run_web_unit(const std::string& unit_name, bool plain, const web_options_t& options) {
    const auto signals = ending_signals();
    ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    const auto unit = sim::unit_builder_t{unit_name}.start();
    sim::web_unit_t web{*unit, {options.port, options.rate * kilobyte, options.fault}};
    const auto display = sim::make_display_view(*unit);
    const bool live = !plain && ::isatty(STDOUT_FILENO) != 0;
    const sim::scenario_t scenario{"web", "takes firmware at " + web.server().url(), {}};
    if (!live) {
        std::cout << "unit_sim: " << unit_name << " " << scenario.title << std::endl;
    }
    const auto begun = steady_clock::now();
    {
        sim::viewer_t viewer{*unit, display.get(), scenario, live};
        auto next_frame = begun;
        while (!is_told_to_end(5ms)) {
            web.step();
            if (const auto now = steady_clock::now(); now >= next_frame) {
                next_frame = now + frame;
                viewer.show(std::chrono::duration_cast<milliseconds>(now - begun));
                if (display && !options.mirror.empty()) {
                    mirror(*display, options);
                }
            }
        }
    }
    return report_updates(web, options.fault, begun);
}
