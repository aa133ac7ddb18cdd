#pragma once

#include "io/register_field.h"

#include <cstddef>
#include <cstdint>

/// The page station's block in the FPGA: 32-bit words and two byte ports, offsets from the block's start.
namespace io::page_station_regs {

inline constexpr std::size_t block_offset = 0x20'0000;  ///< of the block in the FPGA

inline constexpr std::size_t control = 0x000;         ///< read and write
inline constexpr std::size_t status = 0x100;          ///< read; written 0 when the station is brought up
inline constexpr std::size_t input = 0x200;           ///< read
inline constexpr std::size_t keypad_lines = 0x300;    ///< outputs write-only, io/keypad/keypad_line_regs.h
inline constexpr std::size_t spi_controller = 0x400;  ///< a block of its own, leads to the keypad controller
inline constexpr std::size_t lcd_command_port = 0x503;  ///< byte, write-only
inline constexpr std::size_t lcd_data_port = 0x507;     ///< byte, write-only

namespace control_bits {
inline constexpr field_t output0{0, 0};
inline constexpr field_t output1{1, 1};
inline constexpr field_t output2{2, 2};
inline constexpr field_t input3{3, 3};        ///< read only
inline constexpr field_t input4{4, 4};        ///< read only
inline constexpr field_t backlight{5, 12};    ///< of the LCD; two's complement
inline constexpr field_t keypad_run{13, 13};  ///< 0 holds the keypad controller in reset
inline constexpr field_t output14{14, 14};
static_assert(disjoint(output0, output1, output2, input3, input4, backlight, keypad_run, output14));
}  // namespace control_bits

namespace status_bits {
inline constexpr field_t revision{4, 8};  ///< of the hardware
}

}  // namespace io::page_station_regs
