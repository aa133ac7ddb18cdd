#include "io/lcd/font.h"

namespace io {

namespace {

constexpr std::size_t short_header = 2;
constexpr std::size_t long_header = 4;

/// The symbol index that the code page gives, before it is held against the symbol count.
std::optional<std::uint32_t> find_in_code_page(const std::uint16_t* code_page, std::uint32_t character) {
    struct range_t {
        std::uint16_t first;
        std::uint16_t last;
        std::uint16_t index;
    };
    const auto range_at = [code_page](std::size_t position) {
        const auto* words = code_page + 2 + (position * 3);
        return range_t{words[0], words[1], words[2]};
    };

    std::size_t low = 0;
    std::size_t high = code_page[0];
    while (low < high) {
        const auto middle = low + ((high - low) / 2);
        const auto range = range_at(middle);
        if (character < range.first) {
            high = middle;
        } else if (character > range.last) {
            low = middle + 1;
        } else {
            return character - range.first + range.index;
        }
    }
    return std::nullopt;
}

}  // namespace

std::uint8_t symbol_t::pixel(std::size_t column, std::size_t row) const {
    const std::size_t bits = bits_per_pixel == 0 ? 1 : bits_per_pixel;
    const auto* bytes = bitmap + (row * bytes_per_row);
    unsigned value = 0;
    // A pixel of 3, 5, 6 or 7 bits may lie across two bytes.
    for (auto bit = column * bits; bit < (column + 1) * bits; ++bit) {
        value = (value << 1u) | ((static_cast<unsigned>(bytes[bit / 8]) >> (7 - bit % 8)) & 1u);
    }
    return static_cast<std::uint8_t>(value);
}

std::optional<std::uint16_t> symbol_index(const font_t& font, std::uint32_t character) {
    std::optional<std::uint32_t> index = character;
    if (font.code_page != nullptr) {
        index = find_in_code_page(font.code_page, character);
        const std::uint32_t default_character = font.code_page[1];
        if (!index && character != default_character) {
            index = find_in_code_page(font.code_page, default_character);
        }
    }
    if (!index || *index >= font.symbol_count) {
        return std::nullopt;
    }
    return static_cast<std::uint16_t>(*index);
}

symbol_t symbol(const font_t& font, std::uint16_t index) {
    if (index >= font.symbol_count) {
        return {};
    }
    const bool is_long = font.symbols[0] == 0;
    const auto header = is_long ? long_header : short_header;
    const auto* bytes = font.symbols + (index * (header + font.bytes_per_symbol));
    if ((bytes[0] == 0) != is_long) {
        return {};
    }

    symbol_t found;
    if (is_long) {
        found.bits_per_pixel = bytes[1];
        if (found.bits_per_pixel < 1 || found.bits_per_pixel > 8) {
            return {};
        }
    }
    found.width = bytes[header - 2];
    found.height = bytes[header - 1];
    const std::size_t bits = is_long ? found.bits_per_pixel : 1;
    found.bytes_per_row = (found.width * bits + 7) / 8;
    if (found.height * found.bytes_per_row > font.bytes_per_symbol) {
        return {};
    }
    found.bitmap = bytes + header;
    return found;
}

}  // namespace io
