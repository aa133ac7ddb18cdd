#include "io/front_panel/front_panel_leds.h"

#include <algorithm>

namespace io {

namespace {

/// How one revision wires its LEDs, LED 0 first: to which word, and to which bits of it.
struct led_wiring_t {
    std::array<std::uint8_t, panel_led_count> word;
    std::array<std::uint16_t, panel_led_count> first_colour;
    std::array<std::uint16_t, panel_led_count> second_colour;
};

// clang-format off
/// Revisions -1, 0 and 1. Revision 1 swaps the colours of revision 0.
constexpr std::array<led_wiring_t, 3> wirings{{
    {{0, 0, 0, 0, 0, 0, 0, 1, 1, 0, 1, 1, 1, 1, 1, 2, 2, 2, 2, 2, 2},
     {0x0001, 0x0004, 0x0040, 0x0200, 0x0020, 0x0800, 0x2000, 0x0001, 0x0004, 0x4000, 0x0010,
      0x0040, 0x0200, 0x0800, 0x1000, 0x0002, 0x0020, 0x0080, 0x0100, 0x0008, 0x0400},
     {0x0002, 0x0008, 0x0080, 0x0100, 0x0010, 0x0400, 0x1000, 0x0002, 0x0008, 0x8000, 0x0020,
      0x0080, 0x0100, 0x0400, 0x2000, 0x0001, 0x0010, 0x0040, 0x0200, 0x0004, 0x0800}},
    {{0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 2, 2, 2, 2, 2, 2},
     {0x0001, 0x0004, 0x0010, 0x0200, 0x0040, 0x0800, 0x2000, 0x8000, 0x0004, 0x0001, 0x0010,
      0x0040, 0x0200, 0x0800, 0x2000, 0x0002, 0x0008, 0x0020, 0x0080, 0x0100, 0x0400},
     {0x0002, 0x0008, 0x0020, 0x0100, 0x0080, 0x0400, 0x1000, 0x4000, 0x0008, 0x0002, 0x0020,
      0x0080, 0x0100, 0x0400, 0x1000, 0x0001, 0x0004, 0x0010, 0x0040, 0x0200, 0x0800}},
    {{0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 2, 2, 2, 2, 2, 2},
     {0x0002, 0x0008, 0x0020, 0x0100, 0x0080, 0x0400, 0x1000, 0x4000, 0x0008, 0x0002, 0x0020,
      0x0080, 0x0100, 0x0400, 0x1000, 0x0001, 0x0004, 0x0010, 0x0040, 0x0200, 0x0800},
     {0x0001, 0x0004, 0x0010, 0x0200, 0x0040, 0x0800, 0x2000, 0x8000, 0x0004, 0x0001, 0x0010,
      0x0040, 0x0200, 0x0800, 0x2000, 0x0002, 0x0008, 0x0020, 0x0080, 0x0100, 0x0400}},
}};
// clang-format on

}  // namespace

std::array<std::uint16_t, 3> led_driver_words(int revision,
                                              std::span<const led_state_e, panel_led_count> leds) {
    const int row = std::clamp(revision, -1, 1) + 1;
    const auto& wiring = wirings[static_cast<std::size_t>(row)];
    std::array<std::uint16_t, 3> words{};
    for (std::size_t led = 0; led < leds.size(); ++led) {
        const bool first = leds[led] == led_state_e::first_colour || leds[led] == led_state_e::both_colours;
        const bool second = leds[led] == led_state_e::second_colour || leds[led] == led_state_e::both_colours;
        const unsigned lit =
            (first ? wiring.first_colour[led] : 0u) | (second ? wiring.second_colour[led] : 0u);
        auto& word = words[wiring.word[led]];
        word = static_cast<std::uint16_t>(word | lit);
    }
    return words;
}

std::array<std::uint16_t, 4> led_transfer(const std::array<std::uint16_t, 3>& driver_words) {
    // One bit after the other, this is the 48-bit number w2 w1 w0 moved down by the leading bit.
    const auto [w0, w1, w2] = driver_words;
    const auto bits = (std::uint64_t{w2} << 32 | std::uint64_t{w1} << 16 | w0) << 15;
    return {static_cast<std::uint16_t>(bits >> 48), static_cast<std::uint16_t>(bits >> 32),
            static_cast<std::uint16_t>(bits >> 16), static_cast<std::uint16_t>(bits)};
}

}  // namespace io
