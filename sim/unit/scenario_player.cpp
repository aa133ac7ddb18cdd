#include "sim/unit/scenario_player.h"

#include "sim/unit/faults.h"

#include <algorithm>
#include <string>
#include <thread>
#include <tuple>

namespace sim {

namespace {

using namespace std::chrono_literals;

void carry_out(const scenario_event_t& event, unit_t& unit) {
    using kind_e = scenario_event_t::kind_e;
    switch (event.kind) {
    case kind_e::set_property:
        unit.engine().set(event.name, event.value);
        break;
    case kind_e::press:
    case kind_e::release:
        move_key(unit.definition(), static_cast<unsigned>(std::stoul(event.value)),
                 event.kind == kind_e::press);
        break;
    case kind_e::end:
        break;
    }
}

bool sets_state(const scenario_event_t& event) {
    return event.kind == scenario_event_t::kind_e::set_property && event.name == "/sys/fw_status/state";
}

}  // namespace

void play(const scenario_t& scenario, double speed, unit_t& unit, const scenario_watch_t& watch) {
    using std::chrono::milliseconds;
    const auto start = std::chrono::steady_clock::now();
    const auto elapsed = [&] {
        return std::chrono::duration_cast<milliseconds>((std::chrono::steady_clock::now() - start) * speed);
    };
    std::string state;  // that the daemon is to show; none at first
    const auto wait_for_state = [&] {
        std::ignore = wait_until([&] {
            return !watch.daemon_shows_states || state.empty() || unit.status().element("state") == state ||
                   !unit.daemon().is_running();
        });
    };
    for (const auto& event : scenario.events) {
        for (auto now = elapsed(); now < event.at; now = elapsed()) {
            watch.meanwhile(now);
            std::this_thread::sleep_for(
                std::min<std::chrono::duration<double>>(5ms, (event.at - now) / speed));
        }
        if (sets_state(event)) {
            wait_for_state();
            state = shown_state(event.value);
        }
        watch.before(event);
        carry_out(event, unit);
    }
    wait_for_state();
    watch.meanwhile(elapsed());
}

}  // namespace sim
