#include "io/lcd/utf8.h"

#include <bit>

namespace io {

namespace {

constexpr std::uint32_t substitute = '?';

}  // namespace

utf8_character_t decode_utf8(std::string_view text, std::uint32_t highest) {
    const auto lead = static_cast<std::uint8_t>(text.front());
    const auto leading_ones = static_cast<unsigned>(std::countl_one(lead));
    if (leading_ones == 0) {
        return {lead == 0 ? substitute : lead, 1};
    }
    if (leading_ones == 1 || leading_ones > 6) {
        return {substitute, 1};
    }
    std::uint32_t code = lead & (0x7Fu >> leading_ones);
    for (std::size_t position = 1; position < leading_ones; ++position) {
        const auto byte =
            position < text.size() ? static_cast<std::uint8_t>(text[position]) : std::uint8_t{0};
        if ((byte & 0xC0u) != 0x80u) {
            return {substitute, position};
        }
        code = code << 6 | (byte & 0x3Fu);
    }
    return {code == 0 || code > highest ? substitute : code, leading_ones};
}

}  // namespace io
