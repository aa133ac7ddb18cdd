#include "sim/unit/scenario.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace sim {

namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;

constexpr std::string_view status_properties = "/sys/fw_status/";

struct state_t {
    std::string_view word;
    std::string_view text;
};

const state_t& known_state(std::string_view word) {
    static constexpr std::array<state_t, 6> known{{{"idle", "Idle"},
                                                   {"initializing", "Initializing"},
                                                   {"fw_write", "Writing Firmware"},
                                                   {"fpga_write", "Writing FPGA"},
                                                   {"complete", "Finished. Rebooting..."},
                                                   {"error", "Error"}}};
    const auto* const found = std::ranges::find(known, word, &state_t::word);
    return found == known.end() ? known.front() : *found;
}

std::optional<milliseconds> parse_seconds(const std::string& text) {
    std::size_t used = 0;
    try {
        const double seconds = std::stod(text, &used);
        if (used == text.size() && seconds >= 0 && seconds < 1e6) {
            return milliseconds{std::lround(seconds * 1000)};
        }
    } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): said by the caller
    }
    return std::nullopt;
}

std::optional<int> parse_number(std::string_view text) {
    int value = 0;
    const auto [end, error] = std::from_chars(text.begin(), text.end(), value);
    return error == std::errc{} && end == text.end() ? std::optional{value} : std::nullopt;
}

// "A-B" as its two halves, or A twice.
std::pair<std::string, std::string> halves(const std::string& text) {
    const auto dash = text.find('-', 1);
    return dash == std::string::npos ? std::pair{text, text}
                                     : std::pair{text.substr(0, dash), text.substr(dash + 1)};
}

class parser_t {
  public:
    explicit parser_t(std::string name) { scenario_.name = std::move(name); }

    scenario_t parse(std::string_view text) {
        std::istringstream lines{std::string{text}};
        for (std::string line; std::getline(lines, line);) {
            ++line_;
            if (line.ends_with('\r')) {
                line.pop_back();
            }
            parse_line(line);
        }
        auto& events = scenario_.events;
        std::stable_sort(events.begin(), events.end(),
                         [](const auto& a, const auto& b) { return a.at < b.at; });
        if (events.empty() || events.back().kind != scenario_event_t::kind_e::end) {
            fail("no \"end\" as the last event");
        }
        return std::move(scenario_);
    }

  private:
    [[noreturn]] void fail(const std::string& what) const {
        throw std::runtime_error{scenario_.name + ":" + std::to_string(line_) + ": " + what};
    }

    void parse_line(const std::string& line) {
        std::istringstream words{line};
        std::string when;
        std::string verb;
        if (!(words >> when)) {
            return;
        }
        if (when.front() == '#') {
            if (scenario_.title.empty()) {
                scenario_.title = line.substr(std::min(line.size(), line.find('#') + 2));
            }
            return;
        }
        if (!(words >> verb)) {
            fail("a time without an event");
        }
        std::string rest;
        std::getline(words >> std::ws, rest);
        const auto [first, last] = halves(when);
        const auto from = parse_seconds(first);
        const auto to = parse_seconds(last);
        if (!from || !to || *to < *from) {
            fail("\"" + when + "\" is no time");
        }
        if (*from < newest_) {
            fail("times go backwards");
        }
        newest_ = *from;
        add(*from, *to, verb, rest);
    }

    void add(milliseconds from, milliseconds to, const std::string& verb, const std::string& rest) {
        using kind_e = scenario_event_t::kind_e;
        auto& events = scenario_.events;
        if (verb == "state" || verb == "detail") {
            events.push_back({from, kind_e::set_property, std::string{status_properties} + verb, rest});
        } else if (verb == "progress") {
            add_progress(from, to, rest);
        } else if (verb == "set") {
            const auto blank = rest.find(' ');
            const auto value = blank == std::string::npos ? std::string{} : rest.substr(blank + 1);
            events.push_back({from, kind_e::set_property, rest.substr(0, blank), value});
        } else if (verb == "press" || verb == "release") {
            if (!parse_number(rest)) {
                fail("\"" + rest + "\" is no button");
            }
            events.push_back({from, verb == "press" ? kind_e::press : kind_e::release, {}, rest});
        } else if (verb == "end") {
            events.push_back({from, kind_e::end, {}, {}});
        } else {
            fail("unknown event \"" + verb + "\"");
        }
    }

    void add_progress(milliseconds from, milliseconds to, const std::string& range) {
        const auto property = std::string{status_properties} + "progress";
        const auto [first, last] = halves(range);
        const auto low = parse_number(first);
        const auto high = parse_number(last);
        if (from == to || !low || !high) {
            // Any text, as it stands: what a wrong value does is worth a scenario of its own.
            scenario_.events.push_back({from, scenario_event_t::kind_e::set_property, property, range});
            return;
        }
        const int steps = std::max(1, *high - *low);
        for (int step = 0; step <= *high - *low; ++step) {
            scenario_.events.push_back({from + (to - from) * step / steps,
                                        scenario_event_t::kind_e::set_property, property,
                                        std::to_string(*low + step)});
        }
    }

    scenario_t scenario_;
    int line_ = 0;
    milliseconds newest_{};
};

fs::path shipped_scenarios() {
    return FWSTATUS_SCENARIO_DIRECTORY;
}

}  // namespace

std::vector<std::string> scenario_t::values_of(std::string_view property) const {
    std::vector<std::string> values;
    for (const auto& event : events) {
        if (event.name == property && (values.empty() || values.back() != event.value)) {
            values.push_back(event.value);
        }
    }
    return values;
}

std::string shown_state(std::string_view word) {
    return std::string{known_state(word).word};
}

std::string state_text(std::string_view word) {
    return std::string{known_state(word).text};
}

scenario_t parse_scenario(std::string name, std::string_view text) {
    return parser_t{std::move(name)}.parse(text);
}

scenario_t load_scenario(const std::string& name_or_path) {
    auto path = shipped_scenarios() / (name_or_path + ".scenario");
    if (name_or_path.find('/') != std::string::npos || !fs::exists(path)) {
        path = name_or_path;
    }
    std::ifstream file{path};
    if (!file) {
        throw std::runtime_error{"no scenario \"" + name_or_path + "\""};
    }
    const std::string text{std::istreambuf_iterator<char>{file}, {}};
    return parse_scenario(path.stem().string(), text);
}

std::vector<std::string> scenario_names() {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator{shipped_scenarios()}) {
        if (entry.path().extension() == ".scenario") {
            names.push_back(entry.path().stem().string());
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace sim
