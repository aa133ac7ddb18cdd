#include "sim/board/lcd_stream.h"

#include <cstdint>
#include <cstdio>

namespace sim {

std::string lcd_stream(const std::vector<bus_access_t>& accesses) {
    std::string stream;
    std::uint32_t words[3] = {};
    std::uint32_t bits = 0;
    const auto add = [&stream](char kind, int digits, std::uint32_t value) {
        char text[16];
        std::snprintf(text, sizeof text, "%s%c%0*x", stream.empty() ? "" : " ", kind, digits, value);
        stream += text;
    };
    for (const auto& [kind, offset, value] : accesses) {
        if (kind == bus_access_t::kind_e::write8) {
            add(offset == 0x200503 ? 'C' : offset == 0x200507 ? 'D' : '?', 2, value);
        } else if (kind != bus_access_t::kind_e::write32) {
            continue;
        } else if (offset >= 0xC0140 && offset <= 0xC0148) {
            words[(offset - 0xC0140) / 4] = value;
        } else if (offset == 0xC0108) {
            bits = value + 1;
        } else if (offset == 0xC010C && value == 1) {
            const auto first = words[0] >> 6 & 0xFF;
            if (bits == 35) {
                add('W', 4, first << 8 | (words[1] >> 5 & 0xFF));
            } else {
                add(bits != 18 ? 'T' : (words[0] & 0x20) != 0 ? 'D' : 'C', 2, bits != 18 ? bits : first);
            }
        }
    }
    return stream;
}

}  // namespace sim
