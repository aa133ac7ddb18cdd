#include "sim/show/verdict.h"

#include "sim/board/glass.h"
#include "sim/root/violations.h"
#include "sim/show/lcd_reading.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <map>
#include <optional>
#include <sstream>
#include <utility>

namespace sim {

namespace {

constexpr std::string_view platform_line = "IO system -- Platform: ";
constexpr std::string_view slots_line = "IO system -- slot count: ";
constexpr std::size_t settled_platform_id = 0x419C8;
constexpr std::size_t settled_slot_count = 0x419CC;

// What follows the last occurrence of `label` in the log, up to the line's end.
std::string last_after(const std::string& log, std::string_view label) {
    const auto at = log.rfind(label);
    if (at == std::string::npos) {
        return {};
    }
    const auto begin = at + label.size();
    return log.substr(begin, log.find('\n', begin) - begin);
}

// A big-endian word of the I/O shared region, which lies one page into the driver's device.
std::uint32_t shared_word(unit_t& unit, std::size_t offset) {
    const auto device = unit.root().read_file("/dev/io");
    const auto at = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)) + offset;
    std::uint32_t word = 0;
    for (std::size_t i = 0; i < 4 && at + i < device.size(); ++i) {
        word = word << 8 | static_cast<std::uint8_t>(device[at + i]);
    }
    return word;
}

std::string joined(const std::vector<std::string>& texts) {
    std::string result;
    for (const auto& text : texts) {
        result += (result.empty() ? "" : ", ") + text;
    }
    return result;
}

// A number from 0 to 100 as an updater writes it. Without one yet a display shows 0.
std::optional<int> plain_percent(const std::optional<std::string>& text) {
    if (!text) {
        return 0;
    }
    int value = 0;
    const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), value);
    const bool plain = error == std::errc{} && std::to_string(value) == *text && value >= 0 && value <= 100;
    return plain ? std::optional{value} : std::nullopt;
}

std::vector<std::string> without_leading_idle(std::vector<std::string> shown) {
    if (!shown.empty() && shown.front() == "idle") {
        shown.erase(shown.begin());
    }
    return shown;
}

class judge_t {
  public:
    judge_t(unit_t& unit, const display_view_t* display, const scenario_t& scenario,
            const troubles_t& troubles)
        : unit_{unit}, display_{display}, scenario_{scenario}, troubles_{troubles},
          works_{troubles.worked_throughout()} {}

    verdict_t judge() {
        for (const auto& line : troubles_.account()) {
            fact("fault", line);
        }
        judge_identity();
        judge_display();
        judge_status_file();
        judge_notifications();
        judge_health();
        return std::move(verdict_);
    }

  private:
    void fact(const std::string& label, const std::string& text) {
        verdict_.facts.push_back(label + std::string(18 - std::min<std::size_t>(label.size(), 17), ' ') +
                                 text);
    }
    void expect(bool holds, const std::string& fault) {
        if (!holds) {
            verdict_.faults.push_back(fault);
        }
    }

    void judge_identity() {
        const auto& expected = unit_.definition().expected;
        const auto log = unit_.log();
        const auto platform = last_after(log, platform_line);
        const auto slots = last_after(log, slots_line);
        std::string settled = platform;
        if (unit_.definition().fpga_id) {
            const auto id = shared_word(unit_, settled_platform_id);
            const auto count = shared_word(unit_, settled_slot_count);
            settled += ", platform id " + std::to_string(id) + ", " + std::to_string(count) + " slots";
            expect(id == expected.platform_id,
                   "the platform id should be " + std::to_string(expected.platform_id));
            expect(slots == std::to_string(expected.slot_count) && count == expected.slot_count,
                   "the slot count should be " + std::to_string(expected.slot_count));
        }
        fact("settled", settled);
        expect(platform == expected.platform_name,
               "the platform should be \"" + std::string{expected.platform_name} + "\"");
    }

    void judge_display() {
        const auto expected = unit_.definition().expected.display;
        const bool used = display_ != nullptr && display_->in_use();
        fact("display", display_ == nullptr ? "none" : display_->caption());
        expect(used == (expected != display_e::none),
               "the display should be: " + std::string{display_name(expected)});
        auto works = troubles_.works_at_the_end();
        works.news = works_.news;  // what it did not hear of then nobody tells it again
        const auto difference = difference_to_published(unit_, used ? display_ : nullptr, works);
        expect(difference.empty(), "at the end " + difference);
    }

    void judge_status_file() {
        // Until it hears of a state, and that may have been before anybody looked, the daemon shows "idle".
        std::vector<std::string> expected{"idle"};
        for (const auto& value : scenario_.values_of("/sys/fw_status/state")) {
            if (expected.back() != shown_state(value)) {
                expected.push_back(shown_state(value));
            }
        }
        const auto counters = unit_.status().counters();
        fact("status file", joined(unit_.status().states()));
        fact("passes", std::to_string(counters.rewrites));
        fact("file reads", std::to_string(counters.reads) + ", of them " +
                               std::to_string(counters.short_reads) + " short or empty");
        expect(without_leading_idle(unit_.status().states()) == without_leading_idle(expected) ||
                   !works_.news || !works_.file,
               "the status file should have shown " + joined(expected));
    }

    void judge_notifications() {
        const auto counters = unit_.status().counters();
        const auto counts = unit_.notifications().counts();
        const auto received = static_cast<long>(counts.progresses);
        const auto lost = std::max(0L, counters.active_rewrites - received);
        fact("notifications", std::to_string(counts.begins + counts.states + counts.progresses) +
                                  " received, " + std::to_string(received) + " of them of progress; " +
                                  std::to_string(lost) + " missing");
        expect(counts.garbage_bytes == 0, std::to_string(counts.garbage_bytes) + " bytes notify of nothing");
        if (!works_.notifications) {
            return;
        }
        long begins = 0;
        std::string before = "idle";
        for (const auto& state : unit_.status().states()) {
            begins += before == "idle" && state != "idle" ? 1 : 0;
            before = state;
        }
        expect(static_cast<long>(counts.begins) == begins, "fw_update_begin should have come " +
                                                               std::to_string(begins) + " times, not " +
                                                               std::to_string(counts.begins));
        // Passes around a change of state may be counted on the wrong side of it.
        expect(lost <= 3 + 2 * begins, std::to_string(lost) + " notifications of progress were lost");
    }

    void judge_health() {
        auto& daemon = unit_.daemon();
        expect(daemon.is_running(), "the daemon is gone");
        if (daemon.pid() != 0) {
            fact("daemon", std::to_string(daemon.cpu_time().count()) + " ms of processor time, " +
                               std::to_string(daemon.resident_bytes() / 1024) + " kB resident, " +
                               std::to_string(daemon.open_descriptors()) + " descriptors");
        }
        std::istringstream reported{violations()};
        std::map<std::string, int> times;
        for (std::string line; std::getline(reported, line);) {
            ++times[line];
        }
        for (const auto& [line, count] : times) {
            expect(false, "a device was misused: " + line +
                              (count > 1 ? " (" + std::to_string(count) + " times)" : ""));
        }
    }

    unit_t& unit_;
    const display_view_t* display_;
    const scenario_t& scenario_;
    const troubles_t& troubles_;
    works_t works_;
    verdict_t verdict_;
};

}  // namespace

std::string difference_to_published(unit_t& unit, const display_view_t* display, const works_t& works,
                                    std::chrono::milliseconds patience) {
    const auto published = [&](const char* name) {
        return unit.engine().get(std::string{"/sys/fw_status/"} + name);
    };
    const auto word = published("state").value_or("idle");
    const auto percent = plain_percent(published("progress"));
    // A detail too long for its row scrolls whatever stands above it off the screen.
    const bool scrolled = widest_text(published("detail").value_or("")) > glass_state_t::width;
    const auto look = [&]() -> std::string {
        const auto file_percent = unit.status().element("progress");
        if (works.news && works.file && unit.status().element("state") != shown_state(word)) {
            return "the status file shows " + unit.status().element("state") + ", not " + shown_state(word);
        }
        if (works.news && works.file && percent && published("progress") &&
            file_percent != std::to_string(*percent)) {
            return "the status file shows " + file_percent + " %, not " + std::to_string(*percent) + " %";
        }
        return display != nullptr && works.news && works.display && !scrolled
                   ? display->difference(state_text(word), percent)
                   : "";
    };
    std::string difference;
    static_cast<void>(wait_until(
        [&] {
            difference = look();
            return difference.empty() || !unit.daemon().is_running();
        },
        patience));
    return difference;
}

verdict_t judge(unit_t& unit, const display_view_t* display, const scenario_t& scenario,
                const troubles_t& troubles) {
    return judge_t{unit, display, scenario, troubles}.judge();
}

}  // namespace sim
