#include "io/utf8.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace std::string_literals;

std::vector<std::uint32_t> decoded(std::string_view text, std::uint32_t highest = 0xFFFF) {
    std::vector<std::uint32_t> codes;
    while (!text.empty()) {
        const auto [code, length] = io::decode_utf8(text, highest);
        codes.push_back(code);
        text.remove_prefix(length);
    }
    return codes;
}

using codes_t = std::vector<std::uint32_t>;

TEST(utf8, sequences_of_every_length_are_decoded) {
    EXPECT_EQ(decoded("A~"), (codes_t{'A', '~'}));
    EXPECT_EQ(decoded("\xC3\xA9"), codes_t{233});
    EXPECT_EQ(decoded("\xE2\x82\xAC"), codes_t{0x20AC});
    EXPECT_EQ(decoded("\xF0\x9F\x98\x80", 0x7FFFFFFF), codes_t{0x1F600});
    EXPECT_EQ(decoded("\xF8\x88\x80\x80\x80", 0x7FFFFFFF), codes_t{0x200000});
    EXPECT_EQ(decoded("\xFD\xBF\xBF\xBF\xBF\xBF", 0x7FFFFFFF), codes_t{0x7FFFFFFF});
    EXPECT_EQ(decoded("\xC1\x81"), codes_t{'A'}) << "a longer form than needed";
}

TEST(utf8, what_makes_no_character_is_a_question_mark) {
    EXPECT_EQ(decoded("\xFF\xFE"), (codes_t{'?', '?'}));
    EXPECT_EQ(decoded("\x80"
                      "B"),
              (codes_t{'?', 'B'}));
    EXPECT_EQ(decoded("\0"s), codes_t{'?'});
    EXPECT_EQ(decoded("\xC0\x80"), codes_t{'?'});
    EXPECT_EQ(decoded("\xC4\x80", 255), codes_t{'?'}) << "256 in a font without code page";
    EXPECT_EQ(decoded("\xC3\xBF", 255), codes_t{255});
    EXPECT_EQ(decoded("\xF0\x90\x80\x80"), codes_t{'?'}) << "65536 in a font with one";
}

TEST(utf8, a_broken_sequence_ends_before_the_byte_that_breaks_it) {
    EXPECT_EQ(decoded("\xE2\x82\x43"), (codes_t{'?', 'C'}));
    EXPECT_EQ(decoded("\xC3\xC3\xA9"), (codes_t{'?', 233}));
}

TEST(utf8, a_text_that_ends_within_a_sequence_is_not_read_past_its_end) {
    const std::string whole = "\xFC\x84\x80\x80\x80\x80";
    for (std::size_t length = 1; length < whole.size(); ++length) {
        const std::string cut = whole.substr(0, length);  // its own allocation, so a sanitizer sees the end
        const auto found = io::decode_utf8(std::string_view{cut.data(), length}, 0x7FFFFFFF);
        EXPECT_EQ(found.code, '?');
        EXPECT_EQ(found.length, length);
    }
}

}  // namespace
