#include "sim/board/bench_unit.h"

#include "platform/identity.h"
#include "platform/product_tables.h"
#include "sim/board/board.h"

namespace sim {

bench_unit_t::bench_unit_t(const unit_definition_t& definition) : root{definition} {
    zel::platform_t identity;
    identity.platform = zel::platform_code(definition.properties.platform);
    identity.part_number = zel::part_number_code(definition.properties.part_number);
    zel::set_platform_identity(identity);
    set_fpga(build_board(definition));
}

}  // namespace sim
