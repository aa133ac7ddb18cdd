#include "sim/programs/child.h"
#include "sim/programs/small_program.h"
#include "sim/root/guardian.h"
#include "sim/root/unit_root.h"
#include "sim/show/viewer.h"
#include "sim/unit/daemon_process.h"
#include "sim/unit/unit.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <memory>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;

constexpr const char* help = R"(usage: push_show

Three simulated units with the three kinds of display take one image at the same time, pushed by fwpush over HTTP:
./demo --push. On a terminal the displays are painted side by side above fwpush's bars; elsewhere fwpush prints its
log, and the displays are printed now and then.

Exit status: 0 when all three run the image, 1 when not, 2 for wrong usage, 130 after Ctrl-C.
)";

constexpr std::size_t image_size = 6'291'456;
constexpr const char* kinds[] = {"base-unit", "page-station", "serial-panel"};
constexpr auto between_pictures = 4s;
constexpr int interrupted = 130;

volatile std::sig_atomic_t is_interrupted = 0;

/// A simulated unit in a process of its own, seen from outside.
struct shown_unit_t {
    std::string kind;
    std::string mirror;
    std::string log;
    std::string address;
    std::unique_ptr<child_t> process;
};

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream{text};
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::string padded(const std::string& text, std::size_t columns) {
    const auto width = static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char byte) { return (byte & 0xc0) != 0x80; }));
    return text + std::string(columns - std::min(columns, width), ' ');
}

shown_unit_t start_unit(const std::string& kind, const std::string& directory, std::size_t columns) {
    shown_unit_t unit{
        kind, directory + "/" + kind + ".display", directory + "/" + kind + ".log", {}, nullptr};
    unit.process = std::make_unique<child_t>(
        std::vector<std::string>{sim::built_program("sim/programs", "unit_sim"), "--web", "--plain", "--unit",
                                 kind, "--flash-rate", "600", "--mirror", unit.mirror, "--mirror-columns",
                                 std::to_string(columns)},
        unit.log);
    return unit;
}

void wait_for_server(shown_unit_t& unit) {
    constexpr const char* before = "takes firmware at http://";
    const bool works = sim::wait_until([&] {
        const auto log = sim::read_file(unit.log);
        const auto at = log.find(before);
        const auto end = log.find('\n', at);
        if (at != std::string::npos && end != std::string::npos) {
            const auto begin = at + std::string{before}.size();
            unit.address = log.substr(begin, end - begin);
        }
        return !unit.address.empty() || !unit.process->is_running();
    });
    if (!works || unit.address.empty()) {
        throw std::runtime_error{"a unit does not start:\n" + sim::read_file(unit.log)};
    }
}

std::string make_image(const std::string& directory) {
    auto path = directory + "/image";
    std::ofstream file{path, std::ios::binary};
    std::mt19937 random{std::random_device{}()};
    for (std::size_t i = 0; i < image_size; i += sizeof(std::uint32_t)) {
        const auto word = static_cast<std::uint32_t>(random());
        file.write(reinterpret_cast<const char*>(&word), sizeof word);
    }
    return path;
}

// The units' displays side by side, each below the unit's name.
std::vector<std::string> displays_of(const std::vector<shown_unit_t>& units, std::size_t columns) {
    std::vector<std::string> rows;
    for (std::size_t i = 0; i < units.size(); ++i) {
        auto lines = lines_of(sim::read_file(units[i].mirror));
        lines.insert(lines.begin(), units[i].kind + " " + units[i].address);
        rows.resize(std::max(rows.size(), lines.size()));
        for (std::size_t row = 0; row < rows.size(); ++row) {
            rows[row] = padded(rows[row], i * (columns + 1)) + (row < lines.size() ? lines[row] : "");
        }
    }
    return rows;
}

// What fwpush has drawn last, and whatever it printed behind that.
std::string last_drawing(const std::string& output) {
    const auto end = output.rfind("\x1b[J");
    if (end == std::string::npos) {
        return {};
    }
    const auto begin = output.rfind("\x1b[J", end - 1);
    auto drawing = output.substr(begin == std::string::npos || end == 0 ? 0 : begin + 3);
    for (const std::string_view code : {"\x1b[J", "\x1b[K", "\x1b[3A", "\r"}) {
        for (auto at = drawing.find(code); at != std::string::npos; at = drawing.find(code)) {
            drawing.erase(at, code.size());
        }
    }
    return drawing;
}

void paint(const std::vector<shown_unit_t>& units, std::size_t columns, const std::string& output) {
    std::string screen = "\x1b[H";
    for (const auto& row : displays_of(units, columns)) {
        screen += row + "\x1b[K\n";
    }
    screen += "\x1b[K\n";
    for (const auto& line : lines_of(last_drawing(output))) {
        screen += line + "\x1b[K\n";
    }
    std::cout << screen << "\x1b[J" << std::flush;
}

int show_push(const std::vector<std::string>& command, const std::vector<shown_unit_t>& units,
              std::size_t columns, bool live) {
    if (live) {
        terminal_child_t fwpush{command, sim::terminal_columns()};
        std::cout << "\x1b[2J";
        while (is_interrupted == 0 && fwpush.read_for(100ms)) {
            paint(units, columns, fwpush.output());
        }
        paint(units, columns, fwpush.output());
        return fwpush.exit_status();
    }
    child_t fwpush{command, ""};
    auto next = std::chrono::steady_clock::now() + between_pictures;
    while (is_interrupted == 0 && fwpush.is_running()) {
        std::this_thread::sleep_for(50ms);
        if (std::chrono::steady_clock::now() >= next) {
            next += between_pictures;
            for (const auto& row : displays_of(units, columns)) {
                std::cout << row << "\n";
            }
            std::cout << std::flush;
        }
    }
    return fwpush.exit_status();
}

int run(const sim::small_program_t::words_t& /*words*/) {
    const bool live = ::isatty(STDOUT_FILENO) != 0;
    const std::size_t columns = std::max(24U, (live ? sim::terminal_columns() : 150U) / 3 - 1);
    // Its directory holds image, displays and logs. The units have guardians of their own.
    const sim::guardian_t guardian;
    std::vector<shown_unit_t> units;
    for (const auto* const kind : kinds) {
        units.push_back(start_unit(kind, guardian.directory(), columns));
    }
    std::vector<std::string> command{sim::built_program("tools/fwpush", "fwpush"), "--await-return",
                                     make_image(guardian.directory())};
    for (auto& unit : units) {
        wait_for_server(unit);
        command.push_back(unit.address);
    }
    int status = is_interrupted != 0 ? interrupted : show_push(command, units, columns, live);
    for (auto& unit : units) {
        unit.process->end();
        if (is_interrupted != 0) {
            status = interrupted;
        } else if (unit.process->exit_status() != 0) {
            std::cout << unit.kind << " was not as it should be:\n" << sim::read_file(unit.log) << "\n";
            status = 1;
        }
    }
    if (status == interrupted) {
        return status;
    }
    std::cout << (status == 0 ? "All three units run the image.\n" : "Not every unit runs the image.\n")
              << std::flush;
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    // The units and fwpush hear of a Ctrl-C too, and are waited for, so that a shell's prompt comes after
    // them.
    std::signal(SIGINT, [](int) { is_interrupted = 1; });   // NOLINT(cert-err33-c)
    std::signal(SIGTERM, [](int) { is_interrupted = 1; });  // NOLINT(cert-err33-c)
    return sim::run_program({"push_show", help, 0, run}, argc, argv);
}
