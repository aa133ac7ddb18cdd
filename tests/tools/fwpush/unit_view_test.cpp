#include "tools/fwpush/unit_view.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <string>

namespace {

using fwpush::printable;

// A character's bytes in UTF-8; also of codes beyond the last.
std::string utf8(unsigned code) {
    const auto byte = [](unsigned value) { return std::string(1, static_cast<char>(value)); };
    if (code < 0x80) {
        return byte(code);
    }
    const auto follows = [&](unsigned shift) { return byte(0x80U | (code >> shift & 0x3fU)); };
    return code < 0x800     ? byte(0xc0U | code >> 6U) + follows(0)
           : code < 0x10000 ? byte(0xe0U | code >> 12U) + follows(6) + follows(0)
                            : byte(0xf0U | code >> 18U) + follows(12) + follows(6) + follows(0);
}

TEST(printable, leaves_these_characters_alone) {
    std::string ranges;
    bool was_left = false;
    for (unsigned code = 0; code < 0x120000; ++code) {
        const bool is_left = code == '?' || printable(utf8(code)).front() != '?';
        if (is_left != was_left) {
            std::array<char, 16> text{};
            std::snprintf(text.data(), text.size(), is_left ? "%x" : "-%x ", is_left ? code : code - 1);
            ranges += text.data();
        }
        was_left = is_left;
    }
    EXPECT_EQ(ranges, "20-7e a0-61b 61d-200d 2010-2027 202f-2065 206a-d7ff e000-10ffff ");
}

TEST(printable, leaves_text_alone_and_replaces_what_a_terminal_would_obey) {
    EXPECT_EQ(printable("Block 3 of 9 <&>"), "Block 3 of 9 <&>");
    EXPECT_EQ(printable("Größe 日本 💥"), "Größe 日本 💥");
    EXPECT_EQ(printable("a\x1b[2J\r\n\t\x07\x7f"), "a?[2J?????");
    EXPECT_EQ(printable("\xc2\x85 \xc2\x9b"), "?? ??");  // C1: next line, control sequence introducer
    // What turns the direction of writing, and what ends a line: U+202E, U+2028, U+2066.
    const std::string punctuation = "\xe2\x80";
    EXPECT_EQ(printable(punctuation + "\xae" + punctuation + "\xa8" + "\xe2\x81" + "\xa6"), "?????????");
}

TEST(printable, makes_valid_utf8_of_anything) {
    EXPECT_EQ(printable("\xff\x80 \xc3"), "?? ?");
    EXPECT_EQ(printable("\xc0\xaf \xe0\x80\xaf \xf0\x80\x80\xaf"), "?? ??? ????");  // overlong
    EXPECT_EQ(printable("\xc1\xbf \xe0\x9f\xbf \xf0\x8f\xbf\xbf"), "?? ??? ????");
    EXPECT_EQ(printable("\xbf\xbf \xf9\xbf\xbf\xbf"), "?? ????");  // no beginning
    EXPECT_EQ(printable("\xe2\x82x") + printable("\xe2x\xac"), "??x?x?");
    EXPECT_EQ(printable("\xed\xa0\x80 \xf4\x90\x80\x80"), "??? ????");  // surrogate, beyond the last
    EXPECT_EQ(printable("\xe2\x82"), "??");
}

TEST(printable, counts_characters_and_not_bytes) {
    EXPECT_EQ(printable("äöü", 2), "äö");
    EXPECT_EQ(fwpush::width_of("äöü"), 3U);
    EXPECT_EQ(fwpush::filled("äöü", 5) + "|" + fwpush::filled("äöü", 2), "äöü  |äöü");
    EXPECT_EQ(printable(std::string(300, 'x')).size(), 200U);
}

TEST(unit_view, says_what_a_unit_is_at) {
    fwpush::unit_view_t unit;
    unit.stage = firmware::push_stage_e::uploading;
    EXPECT_EQ(word_for(unit), "uploading");
    unit.is_waiting = true;
    EXPECT_EQ(word_for(unit), "waiting");
    unit.outcome = firmware::push_outcome_e::unsupported_hardware;
    EXPECT_EQ(word_for(unit), "unsupported_hardware");
    EXPECT_EQ(fwpush::minutes(std::chrono::milliseconds{3'665'999}), "61:05");
}

}  // namespace
