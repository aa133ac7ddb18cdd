#include "io/lcd_bus.h"

#include "io/front_panel.h"
#include "io/page_station.h"
#include "io/page_station_lcd.h"
#include "io/system.h"

namespace io {

bool lcd_write(bool is_data, std::uint8_t byte) {
    return is_page_station() ? page_station_lcd_write(is_data ? 1 : 0, byte)
                             : front_panel().send_to_lcd(is_data, byte);
}

bool lcd_write_word(std::uint16_t word) {
    if (is_page_station()) {
        if (system_t::fpga_base() == nullptr) {
            return false;
        }
        page_station_lcd_write_word(word);
        return true;
    }
    return front_panel().send_word_to_lcd(word);
}

}  // namespace io
