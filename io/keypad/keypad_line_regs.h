#pragma once

#include "io/register_field.h"

/// The keypad line register: one word that leads to the pins of the keypad controller.
namespace io::keypad_line_regs {

/// What a write sets: the programming lines of the keypad controller. A line reaches its pin only while
/// programming is on and its drive is.
namespace outputs {
inline constexpr field_t programming{0, 0};
inline constexpr field_t sclk_drive{5, 5};
inline constexpr field_t sclk{6, 6};
inline constexpr field_t sdata_drive{9, 9};
inline constexpr field_t sdata{10, 10};
inline constexpr field_t xres_drive{11, 11};
inline constexpr field_t xres{12, 12};  ///< 1 holds the keypad controller in reset
static_assert(disjoint(programming, sclk_drive, sclk, sdata_drive, sdata, xres_drive, xres));
}  // namespace outputs

/// What a read gives: pins, never what was written.
namespace inputs {
inline constexpr field_t sdata{10, 10};  ///< with programming off: a key event is waiting
}

}  // namespace io::keypad_line_regs
