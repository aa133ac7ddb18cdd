#pragma once

#include <cstdint>

/// The bus of the unit's one LCD: the byte ports of a page station, SPI transfers of the front panel on every
/// other platform. Which of the two is decided on every call, since the platform is settled after this
/// library is loaded.
namespace io {

/// Hands one byte to the LCD controller: a command, or data of the last command.
/// @return false when the transfer failed; nothing can be said about what arrived.
[[nodiscard]] bool lcd_write(bool is_data, std::uint8_t byte);

/// Two data bytes in one transfer, the high one first.
[[nodiscard]] bool lcd_write_word(std::uint16_t word);

}  // namespace io
