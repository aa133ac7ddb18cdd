#pragma once

#include <cstdint>

namespace io {

/// The segments that show a decimal digit: bit 0 is a (top), then clockwise b, c, d, e, f, and bit 6 is g
/// (middle). 0, which is blank, for every other character.
///
/// This module's numerals, from its table of digits by segment: the 6 has no top bar, the 9 a bottom bar.
[[nodiscard]] std::uint8_t segment_mask(char digit);

}  // namespace io
