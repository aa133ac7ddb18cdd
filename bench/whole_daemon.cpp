// Measures the daemon as a whole process: an idle period beside the floor, the system calls of a pass,
// memory, and the time to the first status file.
//
//   whole_daemon [SECONDS]     the idle period, 60 by default
//
// Runs the daemon's simulation build, whose objects are those of the production daemon but for the two access
// files, on a unit without hardware.

#include "sim/unit/status_watcher.h"
#include "sim/unit/unit.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using clock_type = std::chrono::steady_clock;

// Time on a processor so far, in milliseconds.
double cpu_ms(pid_t pid) {
    std::ifstream file{"/proc/" + std::to_string(pid) + "/schedstat"};
    double nanoseconds = 0;
    file >> nanoseconds;
    return nanoseconds / 1e6;
}

std::string status_line(pid_t pid, const std::string& key) {
    std::ifstream file{"/proc/" + std::to_string(pid) + "/status"};
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with(key + ":")) {
            return line.substr(line.find_first_not_of(" \t", key.size() + 1));
        }
    }
    return "?";
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + std::ssize(values) / 2;
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

pid_t start_floor(const std::string& file) {
    const pid_t child = ::fork();
    if (child == 0) {
        const auto program = sim::built_program("bench", "idle_floor");
        ::execl(program.c_str(), program.c_str(), file.c_str(), nullptr);
        ::_exit(127);
    }
    return child;
}

void measure_idle(int seconds) {
    auto unit = sim::unit_builder_t{"container"}.start();
    const auto floor_file = unit->root().file("/usr/zel/www/floor.xml");
    const pid_t floor = start_floor(floor_file);
    unit->run_passes(10);
    const pid_t daemon = unit->daemon().pid();
    const auto passes = unit->status().counters().rewrites;
    // Second by second: a machine that others share has good and bad ones.
    std::vector<double> daemon_used;
    std::vector<double> floor_used;
    for (int second = 0; second < seconds; ++second) {
        const double daemon_before = cpu_ms(daemon);
        const double floor_before = cpu_ms(floor);
        std::this_thread::sleep_for(1s);
        daemon_used.push_back(cpu_ms(daemon) - daemon_before);
        floor_used.push_back(cpu_ms(floor) - floor_before);
    }
    const auto counters = unit->status().counters();
    const double daemon_ms = median(daemon_used);
    const double floor_ms = median(floor_used);
    std::printf(
        "idle, median of %d seconds: %.2f ms of processor time, floor %.2f ms, ratio %.2f (%ld rewrites seen "
        "of both)\n",
        seconds, daemon_ms, floor_ms, daemon_ms / floor_ms, counters.rewrites - passes);
    std::printf("reads of the status file: %ld, short or empty: %ld\n", counters.reads, counters.short_reads);
    std::printf("memory of the simulation build: resident %s, anonymous %s\n",
                status_line(daemon, "VmRSS").c_str(), status_line(daemon, "RssAnon").c_str());
    ::kill(floor, SIGKILL);
    ::waitpid(floor, nullptr, 0);
}

// The calls of a handful of passes in the middle of a trace, from one sleep to the next.
void count_calls(const char* label, const char* state) {
    auto unit = sim::unit_builder_t{"container"}.without_daemon().start();
    unit->engine().set("/sys/fw_status/state", state);
    const auto trace = unit->root().file("/sim/trace");
    unit->start_daemon({"strace", "-D", "-f", "-o", trace});
    unit->run_passes(50);
    unit->daemon().kill();
    std::ifstream file{trace};
    std::vector<std::string> pass;
    std::vector<std::string> last_whole_pass;
    for (std::string line; std::getline(file, line);) {
        std::istringstream words{line};
        std::string pid;
        std::string call;
        words >> pid >> call;
        pass.push_back(call.substr(0, call.find('(')));
        if (pass.back().find("nanosleep") != std::string::npos) {
            last_whole_pass.swap(pass);
            pass.clear();
        }
    }
    std::printf("system calls of %s pass (%zu):", label, last_whole_pass.size());
    for (const auto& call : last_whole_pass) {
        std::printf(" %s", call.c_str());
    }
    std::printf("\n");
}

void measure_start() {
    auto unit = sim::unit_builder_t{"container"}.without_daemon().start();
    const auto start = clock_type::now();
    unit->start_daemon();
    while (unit->root().read_file("/usr/zel/www/fw_status.xml").empty()) {
        std::this_thread::sleep_for(100us);
    }
    const std::chrono::duration<double, std::milli> passed = clock_type::now() - start;
    std::printf("from exec to the first status file: %.1f ms\n", passed.count());
}

}  // namespace

int main(int argc, char** argv) {
    const int seconds = argc > 1 ? std::atoi(argv[1]) : 60;  // NOLINT(cert-err34-c): 0 is refused below
    if (seconds < 1) {
        std::fputs("usage: whole_daemon [SECONDS]\n", stderr);
        return 2;
    }
    measure_start();
    count_calls("an idle", "idle");
    count_calls("an active", "fw_write");
    measure_idle(seconds);
    return 0;
}
