#pragma once

#include <cstdint>

/// The bus of the unit's one LCD. What it is made of differs: SPI transfers of the front panel, the byte
/// ports of a page station. This layer knows neither; each of the two hands over its bus with `add_lcd_bus`
/// when its object is made.
///
/// Each call blocks as the bus does: on a front panel for one SPI transfer, which gives up after 100 000
/// looks at the controller (io/spi.h); on a page station for one write per byte, which fails only while the
/// FPGA is not mapped.
namespace io {

/// A way to an LCD controller. One that has been added is never taken away.
struct lcd_bus_t {
    /// Whether this unit's LCD is behind this bus. Asked on every call, since the platform is settled after
    /// the buses were added.
    bool (*is_in_use)();
    bool (*write)(bool is_data, std::uint8_t byte);
    bool (*write_word)(std::uint16_t word);
};

/// Adds a bus; one that is there already is not added again. At most two; a third goes nowhere.
void add_lcd_bus(const lcd_bus_t& bus);

/// Hands one byte to the LCD controller: a command, or data of the last command.
/// @return false when no bus is in use or the transfer failed; nothing can be said about what arrived.
[[nodiscard]] bool lcd_write(bool is_data, std::uint8_t byte);

/// Two data bytes in one transfer, the high one first. Result as above.
[[nodiscard]] bool lcd_write_word(std::uint16_t word);

}  // namespace io
