// Makes service passes in one process and ends, for tools that count instructions: the difference between two
// runs is what the passes in between cost.
//
//   passes COUNT [UNIT]     on a unit without hardware, or on the named one with its device models

#include "daemon/status_reporter.h"
#include "io/system.h"
#include "platform/logging.h"
#include "sim/board/bench_unit.h"

#include <cstdio>
#include <cstdlib>

int main(int argc, char** argv) {
    const int count = argc > 1 ? std::atoi(argv[1]) : 0;  // NOLINT(cert-err34-c): 0 is refused below
    const auto* const definition = sim::find_unit(argc > 2 ? argv[2] : "container");
    if (count < 1 || definition == nullptr) {
        std::fputs("usage: passes COUNT [UNIT]\n", stderr);
        return 2;
    }
    zel::setup_logging("passes", "stdout_color_sink_st");
    zel::set_logger_level("passes", "off");
    const sim::bench_unit_t unit{*definition};
    const io::system_t system;
    for (int i = 0; i < count; ++i) {
        firmware::status_reporter_t::instance().service(0);
    }
    return 0;
}
