#include "io/lcd/graphics.h"
#include "tests/golden.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>
#include <string>
#include <utility>

namespace {

namespace mode = io::drawing_mode;
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
    for (const std::uint32_t pattern_mode : {std::uint32_t{0}, mode::inverse}) {
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
    sheet.draw("aa l");
    sheet.next_cell();
    lcd.set_pixel_pos(8, 1);
    sheet.draw(std::string(100, 'a'), mode::no_wrap);
    sheet.next_cell();
    lcd.select_font(&grey_font);
    lcd.set_pixel_pos(1, 2);
    sheet.draw("a");
    sheet.draw("a", mode::inverse);
    sheet.next_cell();  // a taller font moves a cursor near the top down, but not below the bottom
    lcd.set_pixel_pos(0, 0);
    EXPECT_EQ(lcd.select_font(nullptr), &small_font);
    EXPECT_EQ(lcd.select_font(&small_font), &io::default_font);
    sheet.draw("l");
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
    const std::pair<std::string_view, std::uint32_t> texts[] = {
        {"aa a", 0},
        {"aaal", 0},
        {"aa\rl", 0},
        {"aaa al", 0},
        {"aaa aaa l", 0},
        {"a\nl\na", 0},  // a line end on the last line scrolls nothing
        {"aaa aaa l", mode::no_wrap_at_bottom},
        {"aa a", mode::no_wrap},
        {"aall", mode::align_right},
        {"al", mode::align_centre},
        {"aaa \tal", mode::align_right},
        {"a\n  l", mode::align_centre},
        {"l", mode::align_bottom},
        {"l", mode::align_middle},
        {"l\xC3\xA9l", 0}};
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

TEST(graphics, a_text_of_any_length_ends_as_if_it_were_drawn_word_by_word) {
    for (const std::uint32_t mode : {std::uint32_t{0}, mode::inverse}) {
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
