#include "io/page_station/page_station_lcd.h"

#include "io/mmio.h"
#include "io/page_station/page_station_regs.h"
#include "io/system.h"

namespace io {

bool page_station_lcd_write(unsigned selector, std::uint8_t byte) {
    auto* const fpga = system_t::fpga_base();
    if (fpga == nullptr) {
        return false;
    }
    namespace regs = page_station_regs;
    const auto port = selector == 0 ? regs::lcd_command_port : regs::lcd_data_port;
    mmio::write8(fpga + regs::block_offset + port, byte);
    return true;
}

std::uint8_t page_station_lcd_write_word(std::uint16_t word) {
    const auto low = static_cast<std::uint8_t>(word & 0xFFu);
    page_station_lcd_write(1, static_cast<std::uint8_t>(word >> 8));
    page_station_lcd_write(1, low);
    return low;
}

constinit const lcd_bus_t page_station_lcd_bus{
    .is_in_use = system_t::is_page_station,
    .write = [](bool is_data, std::uint8_t byte) { return page_station_lcd_write(is_data ? 1 : 0, byte); },
    .write_word =
        [](std::uint16_t word) {
            page_station_lcd_write_word(word);
            return system_t::fpga_base() != nullptr;
        },
};

}  // namespace io
