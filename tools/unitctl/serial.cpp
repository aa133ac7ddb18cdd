#include "tools/unitctl/families.h"

#include <cstdio>

namespace tools::unitctl {

namespace {

using namespace std::chrono_literals;

bool sweep(session_t& session, std::chrono::milliseconds period) {
    auto& panel = session.serial_panel();
    int percent = 0;
    bool drawn = true;
    session.repeat(period, 0ms, [&] {
        drawn = panel.draw_progress(percent);
        return drawn && percent++ < 100;
    });
    return drawn;
}

bool animate(session_t& session, const std::optional<double>& seconds,
             const std::optional<std::int32_t>& percent) {
    const auto limit = time_limit(seconds);
    auto& panel = session.serial_panel();
    static_cast<void>(panel.clear());  // a line that is not open fails here rather than on the worker
    panel.start();
    if (percent) {
        static_cast<void>(panel.set_progress(*percent));
    }
    std::puts("the worker plays its animation; it ends after a whole pass");
    session.repeat(100ms, limit, [] { return true; });
    panel.stop();
    return true;
}

}  // namespace

void add_serial_commands(CLI::App& app, session_t& session) {
    struct options_t {
        std::optional<std::int32_t> percent;
        bool sweep = false;
        bool clear = false;
        bool close = false;
        std::optional<double> animate;
    };
    const auto options = std::make_shared<options_t>();
    auto& serial = *app.add_subcommand(
        "serial", "The serial front panel: asks whether it is there, then shows something");
    auto& what = *serial.add_option_group("What to show");
    auto* const percent = what.add_option("PERCENT", options->percent, "0 to 999");
    percent->transform(decimal_unless_0x());
    auto* const animation =
        what.add_option("--animate", options->animate,
                        "The running squares, for 0.001 to 86400 seconds; with PERCENT they give way to it");
    std::vector others{percent, animation};
    for (auto* const flag :
         {what.add_flag("--sweep", options->sweep, "Every percentage from 0 to 100"),
          what.add_flag("--clear", options->clear, "Nothing: blank digits, LEDs out"),
          what.add_flag("--close", options->close, "\"OFFL\", as a panel that is given up")}) {
        for (auto* const other : others) {
            flag->excludes(other);
        }
        others.push_back(flag);
    }
    what.require_option();
    serial.callback([&session, options] {
        constexpr auto sweep_period = 50ms;
        constexpr std::int32_t highest = 999;
        if (options->percent && (*options->percent < 0 || *options->percent > highest) && !session.force) {
            throw refusal_t{"the digits show 0 to 999"};
        }
        const bool done = options->animate   ? animate(session, options->animate, options->percent)
                          : options->percent ? session.serial_panel().set_progress(*options->percent)
                          : options->sweep   ? sweep(session, sweep_period)
                          : options->clear   ? session.serial_panel().clear()
                                             : session.close_serial_panel();
        if (!done) {
            throw refusal_t{""};
        }
    });
}

}  // namespace tools::unitctl
