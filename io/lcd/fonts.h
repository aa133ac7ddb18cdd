#pragma once

#include "io/lcd/font.h"

namespace io {

/// 8 x 8, fixed pitch, characters 0..127 without a code page: what is drawn with until a font is chosen. A
/// few signs stand in 1..8, the other control characters are blank.
extern const font_t default_font;

/// 8 x 13, fixed pitch, characters 32..127: the screen of the card slots, its title over a rule and the
/// slot names below. The lowest row of every symbol is blank, because the fourth name stands one line higher
/// than its row: the screen ends there.
extern const font_t title_font;

/// 8 x 16, proportional, characters 32..127: everything that is read. The lowest row of every symbol is
/// blank, because the page station overdraws it with the bar of the row below.
extern const font_t text_font;

}  // namespace io
