#include "io/lcd/graphics.h"
#include "io/lcd/text_layout.h"
#include "tests/golden.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <string>
#include <utility>

namespace {

using io::graphics_t;

// Three symbols of 3 lines: a space 2 wide, an "a" 3 wide, an "l" 2 wide.
constexpr std::array<std::uint8_t, 15> symbols{2, 3, 0x00, 0x00, 0x00,  //
                                               3, 3, 0xE0, 0xA0, 0xE0,  //
                                               2, 3, 0x80, 0x80, 0xC0};
constexpr std::array<std::uint16_t, 11> code_page{3, ' ', ' ', ' ', 0, 'a', 'a', 1, 'l', 'l', 2};
constexpr io::font_t small_font{3, 3, 3, symbols.data(), 3, code_page.data()};

// One symbol of 3 x 1 pixels of 2 bits: 0, 1, 3.
constexpr std::array<std::uint8_t, 5> grey_symbols{0, 2, 3, 1, 0b00'01'11'00};
constexpr std::array<std::uint16_t, 5> grey_code_page{1, 'a', 'a', 'a', 0};
constexpr io::font_t grey_font{3, 1, 1, grey_symbols.data(), 1, grey_code_page.data()};

std::string art(const io::frame_buffer_t& frame, const io::pixel_rect_t& area) {
    std::string text;
    for (int y = area.top; y <= area.bottom; ++y) {
        text += '\n';
        for (int x = area.left; x <= area.right; ++x) {
            const auto word = frame.line(y)[static_cast<std::size_t>(x) / 3];
            const int level = word >> std::array{11, 6, 0}[static_cast<std::size_t>(x) % 3] & 31;
            text += level == 0 ? '#' : level == 31 ? '.' : static_cast<char>('A' + level);
        }
    }
    return text;
}

/// A drawing layer with nothing on its bus, on a sheet of paper, that looks through one framed cell of
/// 10 x 6 pixels after the other.
class sheet_t {
  public:
    sheet_t() {
        lcd.begin_update();
        lcd.fill_rect(0, 0, 239, 63, graphics_t::paper);
    }
    void next_cell() {
        const int left = cells_ % 8 * 12;
        const int top = cells_ / 8 * 8;
        ++cells_;
        lcd.set_mode(0);
        lcd.set_viewport(left, top, left + 11, top + 7);
        lcd.rect_outline(0, 0, 11, 7);
        lcd.set_viewport(left + 1, top + 1, left + 10, top + 6);
        lcd.select_font(&small_font);
        lcd.set_text_pos(0, 0);
    }
    void draw(std::string_view text, std::uint32_t mode = 0) {
        lcd.set_mode(mode);
        lcd.draw_string(text);
    }
    /// Compares the cells, and nothing drawn beside them, with a golden picture.
    void expect(const std::string& golden) const {
        const int bottom = (cells_ + 7) / 8 * 8 - 1;
        const auto cells = art(lcd.frame(), {0, 0, 95, bottom});
        EXPECT_EQ(cells, tests::golden_text(golden, cells));
        EXPECT_EQ(std::ranges::count(art(lcd.frame(), {0, 0, 239, 63}), '#'), std::ranges::count(cells, '#'));
    }

    graphics_t lcd;

  private:
    int cells_ = 0;
};

TEST(graphics, shapes_and_symbols_are_clipped_to_their_viewport) {
    sheet_t sheet;
    auto& lcd = sheet.lcd;
    sheet.next_cell();  // rectangles, whatever their corners
    lcd.fill_rect(8, 4, 7, 3, graphics_t::ink);
    lcd.fill_rect(INT_MIN, 5, 2, INT_MAX, graphics_t::ink);
    lcd.fill_rect(300, -5, 400, -4, graphics_t::ink);
    for (const std::uint32_t pattern_mode : {0x00U, 0x01U}) {
        for (const int left : {0, 1}) {  // a pattern repeats from the corner of the screen
            sheet.next_cell();
            lcd.set_mode(pattern_mode);
            lcd.fill_rect(left, 0, 9, 2 + left, 0x81F0);
        }
    }
    for (const int x : {0, 9}) {  // lines that end where the next begins
        sheet.next_cell();
        lcd.move_to(x, 0);
        lcd.line_to(9 - x, 3);
        lcd.line_to(9 - x, 5);
        lcd.line_to(6, 5);
        lcd.line_to(4, -60);
    }
    sheet.next_cell();  // whole cells of symbols; what a wrap leaves behind is paper
    lcd.fill_rect(0, 0, 9, 5, graphics_t::ink);
    sheet.draw("aa aal");
    sheet.next_cell();
    lcd.set_pixel_pos(8, 1);
    sheet.draw(std::string(100, 'a'), 0x02);
    sheet.next_cell();
    lcd.select_font(&grey_font);
    lcd.set_pixel_pos(1, 2);
    sheet.draw("a");
    sheet.draw("a", 0x01);
    sheet.next_cell();  // a taller font moves a cursor near the top down, but not below the bottom
    lcd.set_pixel_pos(0, 0);
    EXPECT_EQ(lcd.select_font(nullptr), &small_font);
    EXPECT_EQ(lcd.select_font(&small_font), &io::default_font);
    sheet.draw("l");
    sheet.next_cell();  // a new viewport has its pen in the corner
    lcd.line_to(4, 0);
    sheet.next_cell();  // each context has a viewport and a font of its own
    EXPECT_TRUE(lcd.select_context(4) && !lcd.select_context(5));
    EXPECT_EQ(lcd.select_font(&small_font), &io::default_font);
    lcd.fill_rect(94, 6, 94, 6, graphics_t::ink);
    EXPECT_TRUE(lcd.select_context(0));
    lcd.fill_rect(-1, -1, 0, 0, graphics_t::ink);
    sheet.expect("shapes.txt");
}

TEST(graphics, text_wraps_scrolls_and_is_aligned_line_by_line_within_its_viewport) {
    sheet_t sheet;
    // Modes by their bits: 0x01 inverse, 0x02 no wrap, 0x04 to 0x0C left, right, centre, 0x10 to 0x30 top,
    // bottom, middle, 0x40 no wrap at the bottom.
    const std::pair<std::string_view, std::uint32_t> texts[] = {
        {"aa a", 0},         {"aaal", 0},      {"aa\rl", 0},      {"aaa al", 0},
        {"aaa aaa l", 0},    {"a\nl\na", 0},  // a line end on the last line scrolls nothing
        {"aaa aaa l", 0x40}, {"aa a", 0x02},   {"aall", 0x08},    {"al", 0x0C},
        {"aaa \tal", 0x08},  {"a\n  l", 0x0C}, {"l", 0x20},       {"l", 0x30},
        {"l", 0x10},         {"aa al", 0x04},  {"l\xC3\xA9l", 0}, {"aa al", 0x01},
        {"a\nl", 0x20},      {"a\nl", 0x30},   {"aa aal", 0x0A},  {"l\ra", 0x08}};
    for (const auto& [text, mode] : texts) {
        sheet.next_cell();
        sheet.draw(text, mode);
    }
    // Without code page a character is its own symbol index.
    constexpr io::font_t no_code_page{3, 3, 3, symbols.data(), 3, nullptr};
    sheet.next_cell();
    sheet.lcd.select_font(&no_code_page);
    sheet.draw("\x01\xC4\x80\x7F\x02");
    sheet.expect("text_layout.txt");
}

TEST(frame_buffer, changes_as_much_as_a_scroll_moves) {
    io::frame_buffer_t frame;
    frame.clear();
    frame.fill({3, 9, 22, 9}, 0xFFFF);
    frame.mark_clean();
    frame.scroll_up({4, 4, 21, 300}, 5);
    const auto& [left, top, right, bottom] = frame.dirty();
    EXPECT_EQ((std::array{left, top, right, bottom}), (std::array{4, 4, 21, 63}));
    EXPECT_EQ(art(frame, {3, 4, 22, 4}), "\n.##################.");
}

TEST(graphics, a_start_resets_all_contexts_and_the_first_is_current) {
    graphics_t lcd;
    for (std::size_t context = 0; context < 5; ++context) {
        ASSERT_TRUE(lcd.select_context(context));
        lcd.set_mode(0x01);
        lcd.select_font(&small_font);
        lcd.set_viewport(100, 20, 110, 30);
        lcd.move_to(5, 5);
    }
    EXPECT_FALSE(lcd.init_graphics()) << "nothing is on the bus";
    lcd.fill_rect(0, 0, 0, 0, graphics_t::ink);
    for (std::size_t context = 0; context < 5; ++context) {
        EXPECT_EQ(lcd.set_mode(0x01), 0x00U) << "0 is current, and the others follow";
        EXPECT_EQ(lcd.select_font(&small_font), &io::default_font);
        lcd.set_mode(0);
        lcd.line_to(0, 63 - static_cast<int>(context));
        EXPECT_EQ(art(lcd.frame(), {0, 0, 1, 0}), "\n#.") << "from the pen in the corner";
        ASSERT_TRUE(lcd.select_context(std::min<std::size_t>(context + 1, 4)));
    }
    EXPECT_EQ(art(lcd.frame(), {0, 58, 0, 63}), "\n#\n#\n#\n#\n#\n#")
        << "and to the last line, in a whole viewport";
    lcd.mark_initialised();
    EXPECT_EQ(art(lcd.frame(), {0, 0, 1, 0}), "\n..") << "what the glass holds is not known";
}

TEST(graphics, an_update_is_held_once_and_every_call_says_whether_it_was_free) {
    graphics_t lcd;
    EXPECT_TRUE(lcd.begin_update());
    EXPECT_FALSE(lcd.begin_update());
    EXPECT_FALSE(lcd.end_update());
    EXPECT_TRUE(lcd.end_update());
    EXPECT_TRUE(lcd.begin_update());
}

TEST(text_layout,
     widths_end_where_they_are_asked_to_and_a_text_is_shortened_when_it_is_wider_than_the_screen) {
    const std::string_view text = "aa l\tl\na\rl";
    graphics_t lcd;
    lcd.select_font(&small_font);
    EXPECT_EQ(lcd.text_width(text, io::text_extent_e{0}), 10) << "up to the tab";
    EXPECT_EQ(lcd.text_width("aa\na", io::text_extent_e{0}), 6) << "up to the line's end";
    EXPECT_EQ(lcd.text_width("a\raal", io::text_extent_e{0}), 8) << "a carriage return begins anew";
    EXPECT_EQ(lcd.text_width(text, io::text_extent_e{1}), 6) << "up to the space";
    EXPECT_EQ(lcd.text_width(text, io::text_extent_e{2}), 20) << "the first line, with 8 for its tab";
    EXPECT_EQ(lcd.text_width("a\naal\na\xC3\xA9", io::text_extent_e{2}), 8) << "the second line";

    const auto shortened = [](std::size_t a, const char* end) {
        return io::shortened_to_fit(small_font, std::string(a, 'a') + end);
    };
    EXPECT_EQ(shortened(80, ""), std::string(80, 'a')) << "240 wide";
    EXPECT_EQ(shortened(79, "ll"), std::string(77, 'a') + "...") << "241 wide: cut to 231";
    EXPECT_EQ(io::shortened_to_fit(small_font, std::string(121, 'l')), std::string(115, 'l') + "...")
        << "232 is too much";
    EXPECT_EQ(shortened(76, "lll") + shortened(2, ""), std::string(76, 'a') + "lllaa") << "234 wide";
    EXPECT_EQ(shortened(75, "llllllll"), std::string(75, 'a') + "lll...")
        << "241 wide: 231 is reached by another way";
}

TEST(text_layout, a_character_above_255_needs_a_code_page) {
    constexpr std::array<std::uint16_t, 8> euro{2, ' ', ' ', ' ', 0, 0x20AC, 0x20AC, 1};
    const io::font_t with{3, 3, 3, symbols.data(), 3, euro.data()};
    EXPECT_EQ(io::next_character(with, "\xE2\x82\xAC").code, 0x20ACU);
    EXPECT_EQ(io::next_character(with, "\xEF\xBF\xBF").code, 0xFFFFU);
    EXPECT_EQ(io::next_character(with, "\xF0\x90\x80\x80").code, '?') << "65536";
    EXPECT_EQ(io::text_width(with, "\xE2\x82\xAC", io::text_extent_e::widest_of_lines), 3);
    EXPECT_EQ(io::next_character(io::default_font, "\xC3\xBF").code, 255U);
    EXPECT_EQ(io::next_character(io::default_font, "\xC4\x80").code, '?') << "256";
}

TEST(graphics, a_pixel_of_any_number_of_bits_has_its_grey_level) {
    std::string levels;
    for (unsigned bits = 1; bits <= 8; ++bits) {
        // One row: the values 0, 1, half and highest, and the same inverted below it.
        const unsigned highest = (1U << bits) - 1;
        std::uint64_t row = 0;
        for (const unsigned value : {0U, 1U, highest / 2, highest}) {
            row = row << bits | value;
        }
        row <<= 64 - 4 * bits;
        std::array<std::uint8_t, 8> bytes{0, static_cast<std::uint8_t>(bits), 4, 1};
        for (unsigned i = 0; i < 4; ++i) {
            bytes.at(4 + i) = static_cast<std::uint8_t>(row >> (56 - 8 * i));
        }
        const io::font_t font{4, 1, 4, bytes.data(), 1, grey_code_page.data()};
        graphics_t lcd;
        lcd.select_font(&font);
        for (const int inverted : {0, 1}) {
            lcd.set_mode(static_cast<std::uint32_t>(inverted));
            lcd.set_pixel_pos(0, inverted);
            lcd.draw_string("a");
            const auto words = lcd.frame().line(inverted);
            levels += std::to_string(bits) + (inverted == 0 ? ":" : " inverted:");
            for (const int level : {words[0] >> 11, words[0] >> 6 & 31, words[0] & 31, words[1] >> 11}) {
                levels += ' ' + std::to_string(level);
            }
            levels += '\n';
        }
    }
    EXPECT_EQ(levels, tests::golden_text("grey_levels.txt", levels));
}

TEST(graphics, a_text_of_any_length_ends_as_if_it_were_drawn_word_by_word) {
    for (const std::uint32_t mode : {0x00U, 0x01U}) {
        sheet_t whole;
        sheet_t by_words;
        std::string text;
        for (auto* const sheet : {&whole, &by_words}) {
            sheet->next_cell();
            sheet->lcd.fill_rect(0, 0, 9, 5, graphics_t::ink);
        }
        for (int i = 0; i < 200; ++i) {
            const std::string word = i % 7 == 0 ? " aaaaa" : i % 3 == 0 ? " l" : " la";
            text += word;
            by_words.draw(word, mode);
        }
        whole.draw(text, mode);
        EXPECT_EQ(art(whole.lcd.frame(), {0, 0, 11, 7}), art(by_words.lcd.frame(), {0, 0, 11, 7}));
    }
}

}  // namespace
