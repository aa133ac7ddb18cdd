#pragma once

#include "io/register_field.h"

#include <cstddef>
#include <cstdint>

/// The front panel's registers in the FPGA and its words in the I/O shared region: 32-bit big-endian.
namespace io::front_panel_regs {

// Byte offsets from the start of the FPGA's registers

/// rw; bits not named here are written 0 when the panel is brought up.
inline constexpr std::size_t control = 0xC0000;
inline constexpr field_t backlight{0, 7};  // two's complement, -128 dark
inline constexpr field_t lcd_reset{8, 8};  // 1 holds the LCD controller in reset
static_assert(disjoint(backlight, lcd_reset));

/// An SPI controller (io/spi_regs.h).
inline constexpr std::size_t spi = 0xC0100;

// Byte offsets from the shared region's area C

/// Five words per slot, for one slot more than there are card slots: the unit itself. Room for four slots;
/// with eight, the words from slot 4, channel 1 on run over what lies behind (docs/hardware.md).
inline constexpr std::size_t slot_channel_states = 0x5950;
/// One word per button.
inline constexpr std::size_t button_releases = 0x59AC;
inline constexpr std::size_t button_presses = 0x59B8;

// The panel's status word, as received: 12 bits from the top
inline constexpr field_t revision_code{4, 7};
inline constexpr std::uint32_t other_code_of_revision_0 = 15;  // counts as code 0
inline constexpr field_t revision_present{8, 8};
inline constexpr field_t buttons{10, 12};  // active low; all 0 when no panel answers
static_assert(disjoint(revision_code, revision_present, buttons));

}  // namespace io::front_panel_regs
