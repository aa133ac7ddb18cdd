#pragma once

#include <cstdint>

namespace io {

/// A named group of bits in a 32-bit register.
///
///     constexpr field_t backlight{5, 12};   // bits 5 to 12
///     static_assert(disjoint(backlight, keypad_run));
struct field_t {
    unsigned low = 0;   ///< lowest bit, 0..31
    unsigned high = 0;  ///< highest bit, low..31

    [[nodiscard]] constexpr std::uint32_t mask() const {
        return (0xFFFF'FFFFu >> (31 - (high - low))) << low;
    }
    /// The field's value in a register word, moved down to bit 0.
    [[nodiscard]] constexpr std::uint32_t get(std::uint32_t word) const { return (word & mask()) >> low; }
    /// The register word with the field replaced; bits of `value` beyond the field are dropped.
    [[nodiscard]] constexpr std::uint32_t set(std::uint32_t word, std::uint32_t value) const {
        return (word & ~mask()) | ((value << low) & mask());
    }
};

/// True when no two of the fields share a bit.
template <typename... fields_t>
constexpr bool disjoint(const fields_t&... fields) {
    std::uint32_t seen = 0;
    bool overlap = false;
    ((overlap = overlap || (seen & fields.mask()) != 0, seen |= fields.mask()), ...);
    return !overlap;
}

}  // namespace io
