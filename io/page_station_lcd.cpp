#include "io/page_station_lcd.h"

#include "io/mmio.h"
#include "io/system.h"

#include <cstddef>

namespace io {

namespace {

// From the start of the FPGA's registers
constexpr std::size_t command_port = 0x200503;
constexpr std::size_t data_port = 0x200507;

}  // namespace

bool page_station_lcd_write(unsigned selector, std::uint8_t byte) {
    auto* const fpga = system_t::fpga_base();
    if (fpga == nullptr) {
        return false;
    }
    mmio::write8(fpga + (selector == 0 ? command_port : data_port), byte);
    return true;
}

std::uint8_t page_station_lcd_write_word(std::uint16_t word) {
    const auto low = static_cast<std::uint8_t>(word & 0xFFu);
    page_station_lcd_write(1, static_cast<std::uint8_t>(word >> 8));
    page_station_lcd_write(1, low);
    return low;
}

}  // namespace io
