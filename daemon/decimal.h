#pragma once

#include <array>
#include <charconv>
#include <limits>
#include <string>

namespace firmware {

/// Appends a number in decimal, whatever the locale.
inline void append_decimal(std::string& text, int number) {
    std::array<char, std::numeric_limits<int>::digits10 + 2> digits;  // NOLINT(*-member-init): filled below
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    text.append(digits.data(), end);
}

}  // namespace firmware
