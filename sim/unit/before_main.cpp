#include "sim/board/board.h"
#include "sim/board/fpga.h"
#include "sim/root/log_file.h"
#include "sim/root/system_path.h"

namespace {

// Linked into the daemon's simulation build only. Runs ahead of the daemon's own start-up, so that the first
// line it logs is already in the unit's log and the first register it touches belongs to a device.
[[gnu::constructor(101)]] void prepare_simulated_unit() {
    sim::add_log_file(sim::unit_root() + "/sim/log");
    sim::set_fpga_factory(sim::build_board_of_this_unit);
}

}  // namespace
