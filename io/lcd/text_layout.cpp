#include "io/lcd/text_layout.h"

#include <algorithm>

namespace io {

namespace {

constexpr int tab_width = 8;

int width_of(const font_t& font, std::uint32_t character) {
    return symbol_of(font, character).width;
}

}  // namespace

utf8_character_t next_character(const font_t& font, std::string_view text) {
    return decode_utf8(text, font.code_page == nullptr ? 255 : 65535);
}

symbol_t symbol_of(const font_t& font, std::uint32_t character) {
    const auto index = symbol_index(font, character);
    return index ? symbol(font, *index) : symbol_t{};
}

int text_width(const font_t& font, std::string_view text, text_extent_e extent) {
    const bool all_lines = extent == text_extent_e::widest_of_lines;
    int width = 0;
    int widest = 0;
    while (!text.empty()) {
        const auto [code, length] = next_character(font, text);
        text.remove_prefix(length);
        if (!all_lines &&
            (code == '\n' || code == '\t' || (code == ' ' && extent == text_extent_e::to_word_end))) {
            break;
        }
        if (code == '\n' || code == '\r') {
            width = 0;
        } else {
            width += code == '\t' ? tab_width : width_of(font, code);
        }
        widest = std::max(widest, width);
    }
    return widest;
}

bool breaks_at_space(const font_t& font, std::string_view after_space, int room) {
    return width_of(font, ' ') + text_width(font, after_space, text_extent_e::to_word_end) > room;
}

int first_line_width(const font_t& font, std::string_view text, int room, bool wraps) {
    int width = 0;
    while (!text.empty()) {
        const auto [code, length] = next_character(font, text);
        text.remove_prefix(length);
        const int added = width_of(font, code);
        const bool breaks =
            wraps && (code == ' ' ? breaks_at_space(font, text, room - width) : width + added > room);
        if (code == '\n' || breaks) {
            break;
        }
        width = code == '\r' ? 0 : width + added;
    }
    return width;
}

std::string shortened_to_fit(const font_t& font, std::string_view text) {
    constexpr int screen_width = 240;
    constexpr int room_before_dots = 231;
    int width = 0;
    std::size_t kept = 0;  // bytes of the characters that leave room for the dots
    for (std::size_t read = 0; read < text.size();) {
        const auto [code, length] = next_character(font, text.substr(read));
        read += length;
        width += width_of(font, code);
        if (width > screen_width) {
            return std::string{text.substr(0, kept)} + "...";
        }
        if (width <= room_before_dots) {
            kept = read;
        }
    }
    return std::string{text};
}

}  // namespace io
