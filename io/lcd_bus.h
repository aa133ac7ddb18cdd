#pragma once

#include <cstdint>

/// The bus of the unit's one LCD: the byte ports of a page station, SPI transfers of the front panel on every
/// other platform. Which of the two is decided on every call, since the platform is settled after this
/// library is loaded.
///
/// Each call blocks: on a front panel for one SPI transfer, which gives up after 100 000 looks at the
/// controller (io/spi.h); on a page station for one write per byte, which fails only while the FPGA is not
/// mapped.
namespace io {

/// Hands one byte to the LCD controller: a command, or data of the last command.
/// @return false when the transfer failed; nothing can be said about what arrived.
[[nodiscard]] bool lcd_write(bool is_data, std::uint8_t byte);

/// Two data bytes in one transfer, the high one first. Result as above.
[[nodiscard]] bool lcd_write_word(std::uint16_t word);

}  // namespace io
