#include "io/lcd/frame_buffer.h"

#include <algorithm>

namespace io {

namespace {

constexpr int per_word = frame_buffer_t::pixels_per_word;

/// The bits of a word that belong to its pixels `first` to `last`, 0..2 from the left.
constexpr std::uint16_t pixel_mask(int first, int last) {
    constexpr std::array<unsigned, 3> masks{0xF800, 0x07C0, 0x001F};
    unsigned mask = 0;
    for (int pixel = first; pixel <= last; ++pixel) {
        mask |= masks[static_cast<std::size_t>(pixel)];
    }
    return static_cast<std::uint16_t>(mask);
}

/// The part of word `word` that lies between the pixels `left` and `right` of its line.
constexpr std::uint16_t visible_mask(int word, int left, int right) {
    return pixel_mask(std::max(left - (word * per_word), 0),
                      std::min(right - (word * per_word), per_word - 1));
}

constexpr std::uint16_t grey_word(unsigned level) {
    return static_cast<std::uint16_t>(level << 11 | level << 6 | level);
}

constexpr std::uint16_t paper_word = grey_word(frame_buffer_t::paper_level);
constexpr std::uint16_t ink_word = grey_word(frame_buffer_t::ink_level);

/// Three pixels of ink (bit set) and paper as a word; the leftmost one is bit 2.
constexpr auto two_tone_words = [] {
    std::array<std::uint16_t, 8> words{};
    for (unsigned bits = 0; bits < words.size(); ++bits) {
        unsigned word = 0;
        for (int pixel = 0; pixel < per_word; ++pixel) {
            const auto level_word = ((bits << pixel) & 4u) != 0 ? ink_word : paper_word;
            word |= static_cast<unsigned>(level_word & pixel_mask(pixel, pixel));
        }
        words[bits] = static_cast<std::uint16_t>(word);
    }
    return words;
}();

void merge(std::uint16_t& word, std::uint16_t pixels, std::uint16_t mask) {
    word = static_cast<std::uint16_t>((word & ~mask) | (pixels & mask));
}

/// Three bits of a bitmap row from `column` on, which may lie up to two pixels left of the row.
unsigned three_bits(const std::uint8_t* row, std::size_t row_bytes, int column) {
    if (column < 0) {
        return static_cast<unsigned>(row[0]) >> (5 - column);
    }
    const auto byte = static_cast<std::size_t>(column) / 8;
    const unsigned next = byte + 1 < row_bytes ? row[byte + 1] : 0;
    return ((static_cast<unsigned>(row[byte]) << 8 | next) >> (13 - column % 8)) & 7u;
}

}  // namespace

void frame_buffer_t::clear() {
    for (auto& line : lines_) {
        line.fill(paper_word);
    }
    mark_clean();
}

void frame_buffer_t::fill(const pixel_rect_t& area, std::uint16_t pattern) {
    const auto visible = area.clipped_to(screen);
    if (visible.empty()) {
        return;
    }
    for (int y = visible.top; y <= visible.bottom; ++y) {
        const auto byte = (y % 2 == 0 ? pattern >> 8 : pattern) & 0xFFu;
        const auto three_times = byte << 16 | byte << 8 | byte;
        auto& line = lines_[static_cast<std::size_t>(y)];
        for (int word = visible.left / per_word; word <= visible.right / per_word; ++word) {
            const auto pixels = two_tone_words[(three_times >> (21 - word % 8 * per_word)) & 7u];
            merge(line[static_cast<std::size_t>(word)], pixels,
                  visible_mask(word, visible.left, visible.right));
        }
    }
    mark_dirty(visible);
}

void frame_buffer_t::set_pixel(int x, int y, bool is_ink) {
    fill({x, y, x, y}, is_ink ? 0xFFFF : 0);
}

void frame_buffer_t::draw_symbol(const symbol_t& symbol, int x, int y, const pixel_rect_t& clip,
                                 bool inverted) {
    const auto visible =
        pixel_rect_t{x, y, x + symbol.width - 1, y + symbol.height - 1}.clipped_to(clip).clipped_to(screen);
    if (visible.empty()) {
        return;
    }
    if (symbol.bits_per_pixel == 0) {
        draw_mono(symbol, x, y, visible, inverted);
    } else {
        draw_grey(symbol, x, y, visible, inverted);
    }
    mark_dirty(visible);
}

void frame_buffer_t::draw_mono(const symbol_t& symbol, int x, int y, const pixel_rect_t& visible,
                               bool inverted) {
    const unsigned swapped = inverted ? 7 : 0;
    for (int row = visible.top; row <= visible.bottom; ++row) {
        const auto* bits = symbol.bitmap + (static_cast<std::size_t>(row - y) * symbol.bytes_per_row);
        auto& line = lines_[static_cast<std::size_t>(row)];
        for (int word = visible.left / per_word; word <= visible.right / per_word; ++word) {
            const auto three = three_bits(bits, symbol.bytes_per_row, (word * per_word) - x) ^ swapped;
            merge(line[static_cast<std::size_t>(word)], two_tone_words[three],
                  visible_mask(word, visible.left, visible.right));
        }
    }
}

void frame_buffer_t::draw_grey(const symbol_t& symbol, int x, int y, const pixel_rect_t& visible,
                               bool inverted) {
    const unsigned highest = (1u << symbol.bits_per_pixel) - 1;
    for (int row = visible.top; row <= visible.bottom; ++row) {
        auto& line = lines_[static_cast<std::size_t>(row)];
        for (int column = visible.left; column <= visible.right; ++column) {
            const unsigned value =
                symbol.pixel(static_cast<std::size_t>(column - x), static_cast<std::size_t>(row - y));
            const unsigned level = value * paper_level / highest;
            merge(line[static_cast<std::size_t>(column / per_word)],
                  grey_word(inverted ? paper_level - level : level),
                  pixel_mask(column % per_word, column % per_word));
        }
    }
}

void frame_buffer_t::scroll_up(const pixel_rect_t& area, int lines) {
    const auto visible = area.clipped_to(screen);
    if (visible.empty() || lines <= 0) {
        return;
    }
    for (int y = visible.top; y + lines <= visible.bottom; ++y) {
        const int source = y + lines;
        const auto& from = lines_[static_cast<std::size_t>(source)];
        auto& to = lines_[static_cast<std::size_t>(y)];
        for (int word = visible.left / per_word; word <= visible.right / per_word; ++word) {
            const auto position = static_cast<std::size_t>(word);
            merge(to[position], from[position], visible_mask(word, visible.left, visible.right));
        }
    }
    mark_dirty(visible);
}

}  // namespace io
