#pragma once

#include "platform/identity.h"
#include "platform/logging.h"
#include "platform/product_tables.h"
#include "sim/board.h"
#include "sim/fpga.h"
#include "sim/shared_state.h"
#include "sim/unit_root.h"
#include "tests/log_capture.h"

#include <string>
#include <string_view>

namespace tests {

/// A simulated unit on the bench: its root, its board and what its property engine would have told, without
/// an engine. Drivers are constructed on it by the test, which runs in a process of its own.
class bench_unit_t {
  public:
    explicit bench_unit_t(const sim::unit_definition_t& definition) : root{definition} {
        zel::platform_t identity;
        identity.platform = zel::platform_code(definition.properties.platform);
        identity.part_number = zel::part_number_code(definition.properties.part_number);
        zel::set_platform_identity(identity);
        zel::register_logger("drv_io");
        zel::set_logger_level("drv_io", "trace");
        sim::set_fpga(sim::build_board(definition));
    }
    explicit bench_unit_t(std::string_view name) : bench_unit_t{*sim::find_unit(name)} {}

    sim::unit_root_t root;
    log_capture_t log;
};

}  // namespace tests
