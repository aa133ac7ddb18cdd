#pragma once

#include "io/front_panel/front_panel.h"
#include "io/lcd/graphics.h"
#include "sim/board/front_panel_block.h"
#include "sim/board/lcd_stream.h"
#include "sim/show/picture.h"
#include "tests/io/driver_test.h"

#include <algorithm>
#include <cstdint>
#include <string>

namespace tests {

/// A unit with a front panel on the bench.
class lcd_unit_t : public checked_unit_t {
  public:
    using checked_unit_t::checked_unit_t;
    lcd_unit_t() : checked_unit_t{"base-unit"} {}

    [[nodiscard]] static sim::front_panel_state_t& panel() {
        static auto& state = sim::shared_state<sim::front_panel_state_t>("front_panel");
        return state;
    }
    [[nodiscard]] static std::string text_picture() {
        return sim::text_picture(sim::picture_of(panel().glass));
    }
    /// Runs something and returns what it sent to the LCD.
    template <typename action_t>
    [[nodiscard]] static std::string sent_by(action_t action) {
        sim::fpga()->forget_recorded();
        sim::fpga()->record(true);
        action();
        sim::fpga()->record(false);
        return sim::lcd_stream(sim::fpga()->recorded());
    }
    /// Runs something while the SPI controller does only so many more transfers.
    /// @return how often it read the status beyond the three times that each of those takes.
    template <typename action_t>
    [[nodiscard]] static long polls_when_stopped_after(std::uint32_t transfers, action_t action) {
        panel().link.fault = sim::spi_fault_e::never_done;
        panel().link.healthy_transfers = transfers;
        static_cast<void>(sent_by(action));
        panel().link.fault = sim::spi_fault_e::none;
        const auto reads_status = [](const auto& access) {
            return access.kind == sim::bus_access_t::kind_e::read32 && access.offset == 0xC0100;
        };
        const auto reads = std::ranges::count_if(sim::fpga()->recorded(), reads_status);
        return static_cast<long>(reads) - 3 * static_cast<long>(transfers);
    }
};

}  // namespace tests
