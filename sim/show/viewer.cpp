#include "sim/show/viewer.h"

#include "sim/show/text_lines.h"
#include "sim/unit/troubles.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

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

winsize terminal_size() {
    winsize size{};
    return ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size : winsize{};
}

// As much of a line as so many columns hold: what steers the terminal takes none, a character of several
// bytes one.
std::string clipped(const std::string& line, unsigned columns) {
    std::string result;
    bool steering = false;
    for (const char byte : line) {
        const bool begins_character = (static_cast<unsigned char>(byte) & 0xC0u) != 0x80;
        steering = steering || byte == '\x1b';
        if (!steering && begins_character && columns-- == 0) {
            return result + std::string{plain};
        }
        result += byte;
        steering = steering && byte != 'm';
    }
    return result;
}

std::string short_name(const std::string& property) {
    return property.substr(property.rfind('/') + 1);
}

// As long as asked for, whatever it was.
std::string fitted(std::string text, std::size_t columns) {
    text.resize(std::min(text.size(), columns));
    return text + std::string(columns - text.size(), ' ');
}

}  // namespace

unsigned terminal_columns() {
    const auto columns = terminal_size().ws_col;
    return columns == 0 ? 124 : columns;  // wide enough for every pixel of an LCD in braille
}

unsigned terminal_rows() {
    const auto rows = terminal_size().ws_row;
    return rows == 0 ? 50 : rows;
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

void viewer_t::show(std::chrono::milliseconds elapsed, const std::vector<std::string>& footer) {
    if (live_) {
        paint(elapsed, footer);
    } else {
        print_changes(elapsed);
    }
}

std::string viewer_t::title(std::chrono::milliseconds elapsed) const {
    const auto& definition = unit_.definition();
    return std::string{bold} + " " + std::string{definition.name} + std::string{plain} + "  " +
           seconds_text(elapsed) + "  " + std::string{faint} + scenario_.name + ": " + scenario_.title +
           "  (" + std::string{definition.description} + ")" + std::string{plain};
}

std::vector<std::string> viewer_t::status_lines(unsigned columns) const {
    const std::size_t left = columns < 80 ? 26 : 37;
    const auto file = lines_of(unit_.status().text());
    std::vector<std::string> properties;
    for (const auto& [name, value] : unit_.engine().properties()) {
        if (name.rfind("/sys/config/", 0) != 0) {
            properties.push_back(" " + fitted(short_name(name), 9) + " " + value);
        }
    }
    std::vector<std::string> lines;
    for (std::size_t row = 0; row < std::max(properties.size(), file.size()); ++row) {
        lines.push_back(fitted(row < properties.size() ? properties[row] : "", left) +
                        (row < file.size() ? file[row] : ""));
    }
    return lines;
}

std::string viewer_t::notification_line() const {
    const auto counts = unit_.notifications().counts();
    const auto latest = unit_.notifications().received_so_far();
    const auto last_of = [&](notification_t::kind_e kind) {
        const auto found = std::find_if(latest.rbegin(), latest.rend(),
                                        [&](const auto& entry) { return entry.kind == kind; });
        return found == latest.rend() ? std::string{} : found->value;
    };
    return " " + std::to_string(counts.begins) + " x fw_update_begin   " + std::to_string(counts.states) +
           " x fw_update_state " + last_of(notification_t::kind_e::state) + "   " +
           std::to_string(counts.progresses) + " x fw_update_progress " +
           last_of(notification_t::kind_e::progress);
}

// The display as large as there is room for.
std::vector<std::string> viewer_t::display_lines(unsigned columns, std::size_t room) const {
    constexpr unsigned smallest = 20;
    if (display_ == nullptr) {
        return {};
    }
    std::vector<std::string> lines;
    for (columns -= 2; lines.empty() || (lines.size() > room && columns > smallest); columns -= 2) {
        lines = display_->lines(columns);
    }
    for (auto& line : lines) {
        line.insert(0, 1, ' ');
    }
    return lines;
}

void viewer_t::paint(std::chrono::milliseconds elapsed, const std::vector<std::string>& footer) {
    const auto columns = terminal_columns();
    const auto rows = terminal_rows();
    const auto status = status_lines(columns);
    constexpr std::size_t large_display = 18;
    const auto fixed = 2 + status.size() + (display_ == nullptr ? 0 : 1) + footer.size();
    const bool roomy = rows >= fixed + 5 + large_display;
    std::vector<std::string> lines;
    const auto heading = [&](const std::string& text) {
        if (roomy) {
            lines.emplace_back();
            lines.push_back(std::string{bold} + text + std::string{plain});
        }
    };
    lines.push_back(title(elapsed));
    heading(" Properties                          Status file, as a web client reads it");
    lines.insert(lines.end(), status.begin(), status.end());
    heading(" Notifications received");
    lines.push_back(notification_line());
    if (display_ != nullptr) {
        if (roomy) {
            lines.emplace_back();
        }
        lines.push_back(std::string{bold} + " " + display_->caption() + std::string{plain});
        const auto taken = lines.size() + footer.size();
        const auto picture = display_lines(columns, rows > taken ? rows - taken : 0);
        lines.insert(lines.end(), picture.begin(), picture.end());
    }
    lines.resize(std::min<std::size_t>(lines.size(), rows > footer.size() ? rows - footer.size() : 0));
    lines.insert(lines.end(), footer.begin(), footer.end());
    lines.resize(std::min<std::size_t>(lines.size(), rows));
    std::string screen{home};
    for (const auto& line : lines) {
        screen +=
            (&line == lines.data() ? "" : "\r\n") + clipped(line, columns) + std::string{clear_rest_of_line};
    }
    put(screen + std::string{clear_below});
}

void viewer_t::print_if_new(std::chrono::milliseconds elapsed, const std::string& subject,
                            const std::string& text, const std::string& sameness) {
    auto& last = printed_[subject];
    if (sameness != last && !text.empty()) {
        char time[32];
        std::snprintf(time, sizeof time, "%8s  ", seconds_text(elapsed).c_str());
        put(time + fitted(subject, 14) + text + "\n");
        last = sameness;
    }
}

void viewer_t::print_changes(std::chrono::milliseconds elapsed) {
    // A line for every percentage would bury the rest: one when the tens change.
    const auto tens = [](const std::string& number) {
        return number.size() > 1 && number != "100" && number.front() != '-' ? number.substr(0, 1) + "0"
               : number.size() == 1                                          ? "0"
                                                                             : number;
    };
    const auto print = [&](const std::string& subject, const std::string& text) {
        print_if_new(elapsed, subject, text, text);
    };
    for (const auto& [name, value] : unit_.engine().properties()) {
        if (name.rfind("/sys/config/", 0) != 0) {
            print_if_new(elapsed, "set " + short_name(name), value,
                         name == "/sys/fw_status/progress" ? tens(value) : value);
        }
    }
    if (const auto text = unit_.status().text(); !text.empty()) {
        const auto line = [&](const std::string& percent) {
            return status_element(text, "state") + ", " + percent + " %, \"" +
                   status_element(text, "detail") + "\"";
        };
        const auto percent = status_element(text, "progress");
        print_if_new(elapsed, "status file", line(percent), line(tens(percent)));
    }
    for (const auto& notification : unit_.notifications().received_so_far()) {
        if (notification.kind == notification_t::kind_e::begin) {
            print("notified of", "fw_update_begin");
        } else if (notification.kind == notification_t::kind_e::state) {
            print("notified of", "fw_update_state " + notification.value);
        }
    }
    unit_.notifications().forget_received();
    if (display_ != nullptr) {
        print("display", display_->caption());
    }
}

}  // namespace sim
