#include "io/font.h"
#include "io/fonts.h"

#include <gtest/gtest.h>

#include <array>
#include <string_view>

namespace {

using io::symbol_index;

io::symbol_t symbol_of(const io::font_t& font, char character) {
    const auto index = symbol_index(font, static_cast<unsigned char>(character));
    return index ? io::symbol(font, *index) : io::symbol_t{};
}

int width_of(std::string_view text) {
    int width = 0;
    for (const char character : text) {
        width += symbol_of(io::text_font, character).width;
    }
    return width;
}

TEST(fonts, the_text_font_leaves_its_lowest_row_to_the_bar_below) {
    ASSERT_EQ(io::text_font.symbol_count, 96);
    for (std::uint16_t index = 0; index < io::text_font.symbol_count; ++index) {
        const auto symbol = io::symbol(io::text_font, index);
        ASSERT_EQ(symbol.height, 16);
        for (std::size_t column = 0; column < symbol.width; ++column) {
            EXPECT_EQ(symbol.pixel(column, 15), 0) << "symbol " << index;
        }
    }
}

TEST(fonts, the_text_font_is_proportional_and_its_longest_screen_line_fits_the_panel) {
    EXPECT_EQ(width_of(" "), 8);
    EXPECT_EQ(width_of("!"), 5);
    EXPECT_EQ(width_of("                              "), 240);
    EXPECT_LE(width_of("----- UPDATING FIRMWARE -----"), 240);
    EXPECT_LE(width_of("GATEWAY: 255.255.255.255"), 240);
}

TEST(fonts, title_and_default_font_have_a_fixed_pitch) {
    for (const auto* font : {&io::title_font, &io::default_font}) {
        for (std::uint16_t index = 0; index < font->symbol_count; ++index) {
            const auto symbol = io::symbol(*font, index);
            EXPECT_EQ(symbol.width, 8);
            EXPECT_EQ(symbol.height, font == &io::title_font ? 13 : 8);
        }
    }
}

TEST(fonts, a_character_outside_the_printable_ones_is_drawn_as_a_space) {
    EXPECT_EQ(symbol_index(io::text_font, 32), 0);
    EXPECT_EQ(symbol_index(io::text_font, 127), 95);
    for (const std::uint32_t outside : {0u, 31u, 128u, 233u, 0xFFFFu, 0x10020u, 0xFFFF'FFFFu}) {
        EXPECT_EQ(symbol_index(io::text_font, outside), 0) << outside;
    }
}

TEST(fonts, without_a_code_page_the_character_is_the_index) {
    EXPECT_EQ(symbol_index(io::default_font, 0), 0);
    EXPECT_EQ(symbol_index(io::default_font, 127), 127);
    EXPECT_EQ(symbol_index(io::default_font, 128), std::nullopt);
    EXPECT_EQ(symbol_index(io::default_font, 0x10000), std::nullopt);
}

TEST(font, a_code_page_of_several_ranges_finds_their_ends_and_nothing_between_them) {
    // The last range begins at the table's last symbol and so points behind it.
    constexpr std::array<std::uint16_t, 14> code_page{4, 'b', 'A', 'C', 0,      'a',    'b',
                                                      3, 'x', 'x', 5,   0xFFFE, 0xFFFF, 6};
    const io::font_t font{8, 8, 8, nullptr, 7, code_page.data()};
    EXPECT_EQ(symbol_index(font, 'A'), 0);
    EXPECT_EQ(symbol_index(font, 'C'), 2);
    EXPECT_EQ(symbol_index(font, 'a'), 3);
    EXPECT_EQ(symbol_index(font, 'x'), 5);
    EXPECT_EQ(symbol_index(font, 0xFFFE), 6);
    EXPECT_EQ(symbol_index(font, 0xFFFF), std::nullopt);
    for (const auto unknown : {'@', 'D', 'c', 'w', 'y'}) {
        EXPECT_EQ(symbol_index(font, static_cast<unsigned char>(unknown)), 4) << unknown;
    }
}

TEST(font, a_default_character_in_no_range_leaves_an_unknown_character_undrawn) {
    constexpr std::array<std::uint16_t, 5> code_page{1, '?', 'A', 'C', 0};
    const io::font_t font{8, 8, 8, nullptr, 3, code_page.data()};
    EXPECT_EQ(symbol_index(font, 'B'), 1);
    EXPECT_EQ(symbol_index(font, 'z'), std::nullopt);
    EXPECT_EQ(symbol_index(font, '?'), std::nullopt);
    constexpr std::array<std::uint16_t, 2> empty_page{0, ' '};
    EXPECT_EQ(symbol_index({8, 8, 8, nullptr, 3, empty_page.data()}, ' '), std::nullopt);
}

TEST(font, a_symbol_wider_than_eight_starts_every_row_in_a_byte_of_its_own) {
    constexpr std::array<std::uint8_t, 14> table{
        9, 2, 0x80, 0x80, 0x00, 0x80, 0xFF,  // one padding byte
        3, 4, 0x40, 0xA0, 0x40, 0xE0, 0xFF,
    };
    const io::font_t font{9, 4, 5, table.data(), 2, nullptr};
    const auto wide = io::symbol(font, 0);
    EXPECT_EQ(wide.bytes_per_row, 2u);
    EXPECT_EQ(wide.pixel(0, 0), 1);
    EXPECT_EQ(wide.pixel(1, 0), 0);
    EXPECT_EQ(wide.pixel(8, 0), 1);
    EXPECT_EQ(wide.pixel(0, 1), 0);
    EXPECT_EQ(wide.pixel(8, 1), 1);
    const auto narrow = io::symbol(font, 1);
    EXPECT_EQ(narrow.width, 3);
    EXPECT_EQ(narrow.height, 4);
    EXPECT_EQ(narrow.bits_per_pixel, 0);
    EXPECT_EQ(narrow.pixel(1, 0), 1);
    EXPECT_EQ(narrow.pixel(2, 1), 1);
    EXPECT_EQ(narrow.pixel(0, 2), 0);
}

TEST(font, the_long_header_carries_grey_values) {
    constexpr std::array<std::uint8_t, 16> table{
        0, 3, 3, 2, 0b101'011'11, 0b0'0000000, 0b000'001'01, 0b1'0000000,  // 5 3 6 / 0 1 3
        0, 8, 2, 2, 0x00,         0xFF,        0x7F,         0x01,
    };
    const io::font_t font{3, 2, 4, table.data(), 2, nullptr};
    const auto three_bits = io::symbol(font, 0);
    EXPECT_EQ(three_bits.bits_per_pixel, 3);
    EXPECT_EQ(three_bits.bytes_per_row, 2u);
    EXPECT_EQ(three_bits.pixel(0, 0), 5);
    EXPECT_EQ(three_bits.pixel(2, 0), 6);
    EXPECT_EQ(three_bits.pixel(2, 1), 3);
    const auto eight_bits = io::symbol(font, 1);
    EXPECT_EQ(eight_bits.width, 2);
    EXPECT_EQ(eight_bits.pixel(1, 0), 0xFF);
    EXPECT_EQ(eight_bits.pixel(0, 1), 0x7F);
}

TEST(font, a_symbol_that_does_not_fit_its_place_is_empty) {
    const auto width_in_table = [](std::array<std::uint8_t, 12> table, std::uint16_t index) {
        return io::symbol({8, 2, 2, table.data(), 2, nullptr}, index).width;
    };
    EXPECT_EQ(width_in_table({8, 2, 1, 2, 8, 2, 3, 4}, 1), 8);
    EXPECT_EQ(width_in_table({8, 2, 1, 2, 8, 2, 3, 4}, 2), 0) << "behind the table";
    EXPECT_EQ(width_in_table({8, 2, 1, 2, 8, 3, 3, 4}, 1), 0) << "too high";
    EXPECT_EQ(width_in_table({8, 2, 1, 2, 9, 2, 3, 4}, 1), 0) << "too wide";
    EXPECT_EQ(width_in_table({8, 2, 1, 2, 0, 1, 8, 2}, 1), 0) << "long header behind a short one";
    EXPECT_EQ(width_in_table({0, 1, 8, 2, 1, 2, 8, 2}, 1), 0) << "short header behind a long one";
    EXPECT_EQ(width_in_table({0, 1, 8, 2, 1, 2, 0, 2, 4, 2}, 1), 4);
    EXPECT_EQ(width_in_table({0, 1, 8, 2, 1, 2, 0, 4, 4, 2}, 1), 0) << "too many bits";
    EXPECT_EQ(width_in_table({0, 0, 8, 2, 1, 2}, 0), 0) << "no bits";
    EXPECT_EQ(width_in_table({0, 9, 1, 1, 1, 2}, 0), 0) << "nine bits";
}

}  // namespace
