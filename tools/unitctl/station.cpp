#include "tools/unitctl/families.h"
#include "tools/unitctl/signals.h"

#include <cstdio>

namespace tools::unitctl {

namespace {

using namespace std::chrono_literals;

constexpr std::uint32_t no_key = 0xFFFF'FFFF;

/// Takes one event, when one waits.
bool print_key(io::page_station_t& station, bool& any) {
    std::uint32_t key = no_key;
    bool pressed = false;
    if (!station.read_key(key, pressed)) {
        return false;
    }
    any = key != no_key;
    if (any) {
        std::printf("key %u %s\n", key, pressed ? "down" : "up");
    }
    return true;
}

bool read_keys(session_t& session, bool watch, std::chrono::milliseconds limit) {
    auto& station = session.page_station();
    if (!station.has_keys()) {
        throw refusal_t{"this unit's keypad does not work"};
    }
    bool any = false;
    bool answers = print_key(station, any);
    if (watch) {
        session.repeat(10ms, limit, [&] { return answers = print_key(station, any); });
    } else if (answers && !any) {
        std::puts("no key event waits");
    }
    return answers;
}

void start(session_t& session, bool full) {
    session.open();
    session.claim_display();
    const caught_signals_t signals{caught_signals_t::then_e::obey};  // a keypad half programmed is none
    require_done([full] { return io::page_station().init(full); });
    if (full && !io::page_station().has_keys()) {
        throw refusal_t{"the keypad does not work; all else is up"};
    }
}

void add_keys(CLI::App& app, session_t& session) {
    struct watch_t {
        bool on = false;
        std::optional<double> seconds;
    };
    const auto watch = std::make_shared<watch_t>();
    auto& keys =
        add_command(app, "keys", "Takes one key event of a page station, if one waits", {},
                    [&session, watch] { return read_keys(session, watch->on, time_limit(watch->seconds)); });
    auto* const flag =
        keys.add_flag("--watch", watch->on, "Go on, with a line for every event, until Ctrl-C");
    keys.add_option("--for", watch->seconds, time_limit_help)->needs(flag);
}

}  // namespace

void add_station_commands(CLI::App& app, session_t& session) {
    auto& station = add_group(app, "station", "The page station");
    const auto full = std::make_shared<bool>(false);
    add_command(station, "start", "Brings it up", {}, [&session, full] {
        start(session, *full);
    }).add_flag("--full", *full, "Reset the keypad and update its firmware as well");
    add_command(station, "revision", "Prints its revision", {}, [&session] {
        std::uint32_t revision = 0;
        const bool read = session.page_station().get_revision(revision);
        return print_if(read, "%u\n", revision);
    });
    add_keys(app, session);
}

}  // namespace tools::unitctl
