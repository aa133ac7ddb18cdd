#include "sim/show/live_console.h"

#include "sim/unit/faults.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <utility>

namespace sim {

namespace {

constexpr std::array<std::pair<char, const char*>, 6> states{{{'i', "idle"},
                                                              {'n', "initializing"},
                                                              {'w', "fw_write"},
                                                              {'p', "fpga_write"},
                                                              {'c', "complete"},
                                                              {'e', "error"}}};

}  // namespace

live_console_t::live_console_t(unit_t& unit, troubles_t& troubles) : unit_{unit}, troubles_{troubles} {
    for (const auto& fault : faults()) {
        if (fault.begin != nullptr && fault.possible_on(unit.definition())) {
            faults_.push_back(&fault);
        }
    }
    ::tcgetattr(STDIN_FILENO, &settings_);
    auto keys = settings_;
    keys.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    ::tcsetattr(STDIN_FILENO, TCSANOW, &keys);
}

live_console_t::~live_console_t() {
    ::tcsetattr(STDIN_FILENO, TCSANOW, &settings_);
}

bool live_console_t::take_keys(std::chrono::milliseconds now) {
    constexpr int moment_ms = 100;
    pollfd input{STDIN_FILENO, POLLIN, 0};
    for (int wait_ms = moment_ms; ::poll(&input, 1, wait_ms) > 0; wait_ms = 0) {
        char key = 0;
        if (::read(STDIN_FILENO, &key, 1) != 1 || !act(key, now)) {
            return false;
        }
    }
    return true;
}

bool live_console_t::act(char key, std::chrono::milliseconds now) {
    if (const auto* const state = std::ranges::find(states, key, &std::pair<char, const char*>::first);
        state != states.end()) {
        set("state", state->second);
    } else if (key >= '0' && key <= '9') {
        set("progress", std::to_string((key - '0') * 10));
    } else if (key == '+' || key == '-') {
        add_percent(key == '+' ? 1 : -1);
    } else if (key == 'f' && !faults_.empty()) {
        fault_ = (fault_ + 1) % faults_.size();
    } else if (key == 'F' && !faults_.empty()) {
        switch_fault(now);
    } else if (key == 'k' && button_count() != 0 && !pressed_) {
        button_ = (button_ + 1) % button_count();
    } else if (key == 'K' && button_count() != 0) {
        switch_button();
    }
    return key != 'q';
}

void live_console_t::set(const char* property, const std::string& value) {
    unit_.engine().set(std::string{"/sys/fw_status/"} + property, value);
}

void live_console_t::add_percent(int change) {
    const auto text = unit_.engine().get("/sys/fw_status/progress").value_or("0");
    const auto percent = std::clamp(std::strtol(text.c_str(), nullptr, 10), 0L, 100L);
    set("progress", std::to_string(std::clamp(percent + change, 0L, 100L)));
}

void live_console_t::switch_fault(std::chrono::milliseconds now) {
    const auto& fault = *faults_[fault_];
    troubles_.is_on(fault) ? troubles_.end(fault, now) : troubles_.begin(fault, now);
}

void live_console_t::switch_button() {
    pressed_ = !pressed_;
    move_key(unit_.definition(), button_, pressed_);
}

// Three buttons on a front panel, a key for each of 64 numbers on a page station.
unsigned live_console_t::button_count() const {
    return unit_.definition().has_front_panel ? 3 : unit_.definition().has_page_station ? 64 : 0;
}

std::vector<std::string> live_console_t::help() const {
    std::vector<std::string> lines{" i idle  n initializing  w fw_write  p fpga_write",
                                   " c complete  e error  0-9 tens of percent  + -  q ends"};
    if (button_count() != 0) {
        lines.push_back(" K " + std::string{pressed_ ? "releases" : "presses"} + " key " +
                        std::to_string(button_) + "  k another key");
    }
    if (!faults_.empty()) {
        const auto& fault = *faults_[fault_];
        lines.push_back(" F " + std::string{troubles_.is_on(fault) ? "ends " : "begins "} +
                        std::string{fault.name} + "  f another fault");
    }
    return lines;
}

}  // namespace sim
