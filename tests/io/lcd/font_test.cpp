#include "io/lcd/font.h"
#include "io/lcd/fonts.h"
#include "io/lcd/utf8.h"

#include <gtest/gtest.h>

#include <array>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using io::symbol_index;

TEST(font, a_character_is_found_in_the_ranges_of_the_code_page_or_drawn_as_the_default_one) {
    EXPECT_EQ(symbol_index(io::text_font, 127), 95);
    for (const std::uint32_t outside : {0u, 31u, 0xE000u, 0xFFFFu, 0x10020u, 0xFFFF'FFFFu}) {
        EXPECT_EQ(symbol_index(io::text_font, outside), 0) << outside;
    }
    // Without a code page the character is the index.
    EXPECT_EQ(symbol_index(io::default_font, 127), 127);
    EXPECT_EQ(symbol_index(io::default_font, 128), std::nullopt);

    // The last range begins at the table's last symbol and so points behind it.
    constexpr std::array<std::uint16_t, 14> ranges{4, 'b', 'A', 'C', 0,      'a',    'b',
                                                   3, 'x', 'x', 5,   0xFFFE, 0xFFFF, 6};
    const io::font_t font{8, 8, 8, nullptr, 7, ranges.data()};
    for (const auto& [character, index] :
         {std::pair{0x41u, 0}, {0x43u, 2}, {0x61u, 3}, {0x78u, 5}, {0xFFFEu, 6}, {0x44u, 4}, {0x79u, 4}}) {
        EXPECT_EQ(symbol_index(font, character), index) << character;
    }
    EXPECT_EQ(symbol_index(font, 0xFFFF), std::nullopt);
    constexpr std::array<std::uint16_t, 5> default_in_no_range{1, '?', 'A', 'C', 0};
    EXPECT_EQ(symbol_index({8, 8, 8, nullptr, 3, default_in_no_range.data()}, 'z'), std::nullopt);
}

TEST(utf8, sequences_are_decoded_and_what_makes_no_character_is_a_question_mark) {
    const auto decoded = [](std::string_view text, std::uint32_t highest) {
        std::vector<std::uint32_t> codes;
        while (!text.empty()) {
            const auto [code, length] = io::decode_utf8(text, highest);
            codes.push_back(code);
            text.remove_prefix(length);
        }
        return codes;
    };
    using codes_t = std::vector<std::uint32_t>;
    EXPECT_EQ(decoded("A\xC3\xA9\xE2\x82\xAC", 0xFFFF), (codes_t{'A', 233, 0x20AC}));
    EXPECT_EQ(decoded("\xF0\x9F\x98\x80\xF8\x88\x80\x80\x80\xFD\xBF\xBF\xBF\xBF\xBF", 0x7FFFFFFF),
              (codes_t{0x1F600, 0x200000, 0x7FFFFFFF}));
    EXPECT_EQ(decoded("\xC1\x81", 0xFFFF), codes_t{'A'}) << "a longer form than needed";
    EXPECT_EQ(decoded({"\0A", 2}, 0xFFFF), (codes_t{'?', 'A'}));
    EXPECT_EQ(decoded("\xFF\x80+\xC0\x80", 0xFFFF), (codes_t{'?', '?', '+', '?'}));
    EXPECT_EQ(decoded("\xC3\xBF\xC4\x80", 255), (codes_t{255, '?'})) << "a font without code page";
    EXPECT_EQ(decoded("\xF0\x90\x80\x80", 0xFFFF), codes_t{'?'}) << "a font with one";
    EXPECT_EQ(decoded("\xE2\x82\x43\xC3\xC3\xA9", 0xFFFF), (codes_t{'?', 'C', '?', 233}))
        << "a broken sequence ends before the byte that breaks it";
    EXPECT_EQ(decoded({"\xC3\xA9", 1}, 0xFFFF), codes_t{'?'}) << "or with the text";
}

}  // namespace
