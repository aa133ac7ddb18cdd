#include "sim/show/viewer.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <sstream>

namespace sim {

namespace {

constexpr std::string_view bold = "\x1b[1m";
constexpr std::string_view faint = "\x1b[2m";
constexpr std::string_view plain = "\x1b[0m";
constexpr std::string_view home = "\x1b[H";
constexpr std::string_view clear_rest_of_line = "\x1b[K";
constexpr std::string_view clear_below = "\x1b[J";
constexpr std::string_view other_screen = "\x1b[?1049h\x1b[?25l";
constexpr std::string_view first_screen = "\x1b[?1049l\x1b[?25h";

void put(const std::string& text) {
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

std::string seconds(std::chrono::milliseconds time) {
    char text[32];
    std::snprintf(text, sizeof text, "%6.2f s", static_cast<double>(time.count()) / 1000);
    return text;
}

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream{text};
    for (std::string line; std::getline(stream, line);) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        lines.push_back(line);
    }
    return lines;
}

std::string short_name(const std::string& property) {
    return property.substr(property.rfind('/') + 1);
}

// As long as asked for, whatever it was.
std::string fitted(std::string text, std::size_t width) {
    text.resize(std::min(text.size(), width));
    return text + std::string(width - text.size(), ' ');
}

}  // namespace

unsigned terminal_columns() {
    winsize size{};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) {
        return 124;  // wide enough for every pixel of an LCD in braille
    }
    return size.ws_col;
}

viewer_t::viewer_t(unit_t& unit, display_view_t* display, const scenario_t& scenario, bool live)
    : unit_{unit}, display_{display}, scenario_{scenario}, live_{live} {
    if (live_) {
        unit_.root().guardian().note_screen(true);
        put(std::string{other_screen});
    }
}

viewer_t::~viewer_t() {
    if (live_) {
        put(std::string{first_screen});
        unit_.root().guardian().note_screen(false);
    }
}

void viewer_t::show(std::chrono::milliseconds elapsed) {
    if (live_) {
        paint(elapsed);
    } else {
        print_changes(elapsed);
    }
}

void viewer_t::paint(std::chrono::milliseconds elapsed) {
    const auto& definition = unit_.definition();
    std::vector<std::string> lines;
    const auto heading = [&](const std::string& text) {
        lines.emplace_back();
        lines.push_back(std::string{bold} + text + std::string{plain});
    };
    lines.push_back(std::string{bold} + " " + std::string{definition.name} + std::string{plain} + ", " +
                    std::string{definition.description} + "   " + std::string{faint} + scenario_.name + ": " +
                    scenario_.title + "  " + seconds(elapsed) + std::string{plain});

    heading(" Properties                          Status file, as a web client reads it");
    const auto file = lines_of(unit_.status().text());
    std::vector<std::string> properties;
    for (const auto& [name, value] : unit_.engine().properties()) {
        if (name.rfind("/sys/config/", 0) != 0) {
            properties.push_back(" " + fitted(short_name(name), 9) + " " + value);
        }
    }
    for (std::size_t row = 0; row < std::max(properties.size(), file.size()); ++row) {
        lines.push_back(fitted(row < properties.size() ? properties[row] : "", 37) +
                        (row < file.size() ? file[row] : ""));
    }

    heading(" Notifications received");
    const auto counts = unit_.notifications().counts();
    const auto latest = unit_.notifications().received_so_far();
    const auto last_of = [&](notification_t::kind_e kind) {
        const auto found = std::find_if(latest.rbegin(), latest.rend(),
                                        [&](const auto& entry) { return entry.kind == kind; });
        return found == latest.rend() ? std::string{} : found->value;
    };
    lines.push_back(" " + std::to_string(counts.begins) + " x fw_update_begin   " +
                    std::to_string(counts.states) + " x fw_update_state " +
                    last_of(notification_t::kind_e::state) + "   " + std::to_string(counts.progresses) +
                    " x fw_update_progress " + last_of(notification_t::kind_e::progress));

    if (display_ != nullptr) {
        heading(" " + display_->caption());
        for (const auto& line : display_->lines(terminal_columns() - 2)) {
            lines.push_back(" " + line);
        }
    }
    std::string screen{home};
    for (const auto& line : lines) {
        screen += line + std::string{clear_rest_of_line} + "\r\n";
    }
    put(screen + std::string{clear_below});
}

void viewer_t::print_if_new(std::chrono::milliseconds elapsed, const char* subject, const std::string& text) {
    auto& last = printed_[subject];
    if (text != last && !text.empty()) {
        put(seconds(elapsed) + "  " + fitted(subject, 14) + text + "\n");
        last = text;
    }
}

void viewer_t::print_changes(std::chrono::milliseconds elapsed) {
    // Percentages in steps of ten: a line for each would bury the rest.
    const auto tens = [](const std::string& number) {
        return number.size() > 1 && number != "100" && number.front() != '-' ? number.substr(0, 1) + "0"
               : number.size() == 1                                          ? "0"
                                                                             : number;
    };
    for (const auto& [name, value] : unit_.engine().properties()) {
        const auto shown = name == "/sys/fw_status/progress" ? tens(value) : value;
        if (name.rfind("/sys/config/", 0) != 0) {
            print_if_new(elapsed, ("set " + short_name(name)).c_str(), shown);
        }
    }
    auto& status = unit_.status();
    if (!status.text().empty()) {
        print_if_new(elapsed, "status file",
                     status.element("state") + ", " + tens(status.element("progress")) + " %, \"" +
                         status.element("detail") + "\"");
    }
    for (const auto& notification : unit_.notifications().received_so_far()) {
        switch (notification.kind) {
        case notification_t::kind_e::begin:
            print_if_new(elapsed, "notified of", "fw_update_begin");
            break;
        case notification_t::kind_e::state:
            print_if_new(elapsed, "notified of", "fw_update_state " + notification.value);
            break;
        case notification_t::kind_e::progress:
            break;
        }
    }
    unit_.notifications().forget_received();
    if (display_ != nullptr) {
        print_if_new(elapsed, "display", display_->caption());
    }
}

}  // namespace sim
