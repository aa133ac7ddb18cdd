#include "sim/board/board.h"

#include "sim/board/control_block.h"
#include "sim/board/front_panel_block.h"
#include "sim/board/glass.h"
#include "sim/board/page_station_block.h"
#include "sim/root/shared_state.h"
#include "sim/root/unit_root.h"

namespace sim {

namespace {

/// A board of which nothing is known but its identification.
class bare_board_t : public device_t {
  public:
    explicit bare_board_t(std::uint32_t fpga_id) : fpga_id_{fpga_id} {}
    std::uint32_t read32(std::uint32_t offset) override {
        return offset == 0 ? fpga_id_ : device_t::read32(offset);
    }
    [[nodiscard]] std::vector<std::uint32_t> readable() const override { return {0}; }

  private:
    std::uint32_t fpga_id_;
};

/// The boards with eight slots and a front panel run at 125 MHz, all others at 133 MHz.
double clock_of(std::uint32_t fpga_id) {
    return fpga_id == 0xD15C105E || fpga_id == 0xCAB005E5 ? 125e6 : 400e6 / 3;
}

}  // namespace

std::unique_ptr<fpga_t> build_board(const unit_definition_t& unit) {
    auto board = std::make_unique<fpga_t>();
    const auto fpga_id = unit.fpga_id.value_or(0);
    if (unit.has_controller) {
        plug_control_block(*board, fpga_id, clock_of(fpga_id),
                           shared_state<control_block_state_t>("control"));
    } else {
        board->plug(0, 4, std::make_shared<bare_board_t>(fpga_id));
    }
    if (unit.has_front_panel) {
        board->plug(0xC0000, front_panel_block_t::block_length,
                    std::make_shared<front_panel_block_t>(shared_state<front_panel_state_t>("front_panel")));
    }
    if (unit.has_page_station) {
        const auto glass = std::make_shared<glass_t>(shared_state<glass_state_t>("glass"));
        plug_page_station(*board, shared_state<page_station_state_t>("page_station"),
                          shared_state<page_station_registers_t>("page_station_registers"),
                          [glass](bool is_data, std::uint8_t byte) { glass->take(is_data, byte); });
    }
    return board;
}

std::unique_ptr<fpga_t> build_board_of_this_unit() {
    return build_board(definition_of_this_unit());
}

}  // namespace sim
