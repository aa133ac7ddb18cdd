#include "io/serial/seven_segment.h"

#include <array>
#include <cstddef>
#include <string_view>

namespace io {

namespace {

// For each segment, from bit 0 on, the digits that light it.
constexpr std::array<std::string_view, 7> digits_lighting{
    "0235789",    // a
    "01234789",   // b
    "013456789",  // c
    "0235689",    // d
    "0268",       // e
    "045689",     // f
    "2345689",    // g
};

}  // namespace

std::uint8_t segment_mask(char digit) {
    unsigned mask = 0;
    for (std::size_t segment = 0; segment < digits_lighting.size(); ++segment) {
        if (digits_lighting[segment].find(digit) != std::string_view::npos) {
            mask |= 1u << segment;
        }
    }
    return static_cast<std::uint8_t>(mask);
}

}  // namespace io
