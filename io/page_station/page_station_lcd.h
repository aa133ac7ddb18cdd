#pragma once

#include "io/lcd/lcd_bus.h"

#include <cstdint>

/// The byte ports behind which a page station's LCD controller sits. One register access per byte; nothing is
/// written while the FPGA is not mapped.
namespace io {

/// @param selector  0 for the command port, anything else for the data port.
/// @return false while the FPGA is not mapped.
bool page_station_lcd_write(unsigned selector, std::uint8_t byte);

/// Two bytes to the data port, the high one first.
/// @return the low byte, written or not.
std::uint8_t page_station_lcd_write_word(std::uint16_t word);

/// The same as the LCD bus of a page station. A word fails while the FPGA is not mapped.
extern const lcd_bus_t page_station_lcd_bus;

}  // namespace io
