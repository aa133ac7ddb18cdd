#pragma once

#include "io/front_panel.h"
#include "io/graphics.h"
#include "sim/front_panel_block.h"
#include "sim/picture.h"
#include "tests/io/driver_test.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace tests {

/// What the recorded accesses sent to the LCD, as "C5c" for a command and "Dff" for a data byte, with a
/// transfer that carries two bytes as one "Wffdf". Other transfers by their length: "T0c".
inline std::string lcd_stream(const std::vector<sim::bus_access_t>& accesses) {
    std::string stream;
    std::uint32_t words[3] = {};
    std::uint32_t bits = 0;
    const auto add = [&stream](char kind, int digits, std::uint32_t value) {
        char text[16];
        std::snprintf(text, sizeof text, "%s%c%0*x", stream.empty() ? "" : " ", kind, digits, value);
        stream += text;
    };
    for (const auto& [kind, offset, value] : accesses) {
        if (kind == sim::bus_access_t::kind_e::write8) {
            add(offset == 0x200503 ? 'C' : offset == 0x200507 ? 'D' : '?', 2, value);
        } else if (kind != sim::bus_access_t::kind_e::write32) {
            continue;
        } else if (offset >= 0xC0140 && offset <= 0xC0148) {
            words[(offset - 0xC0140) / 4] = value;
        } else if (offset == 0xC0108) {
            bits = value + 1;
        } else if (offset == 0xC010C && value == 1) {
            const auto first = words[0] >> 6 & 0xFF;
            if (bits == 35) {
                add('W', 4, first << 8 | (words[1] >> 5 & 0xFF));
            } else {
                add(bits != 18 ? 'T' : (words[0] & 0x20) != 0 ? 'D' : 'C', 2, bits != 18 ? bits : first);
            }
        }
    }
    return stream;
}

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
        return lcd_stream(sim::fpga()->recorded());
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
