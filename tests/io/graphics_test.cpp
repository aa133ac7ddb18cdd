#include "io/graphics.h"
#include "io/text_layout.h"

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

/// Three lines of an empty viewport.
const std::string blank_line = "\n..........\n..........\n..........";

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

/// Ink pixels of the whole screen.
long ink_count(const io::frame_buffer_t& frame) {
    return std::ranges::count(art(frame, io::frame_buffer_t::screen), '#');
}

/// A drawing layer with nothing on its bus, on a sheet of paper, that looks at 10 x 6 pixels in the middle.
class sheet_t {
  public:
    sheet_t() {
        lcd.begin_update();
        lcd.fill_rect(0, 0, 239, 63, graphics_t::paper);
        lcd.set_viewport(view.left, view.top, view.right, view.bottom);
        lcd.select_font(&small_font);
        lcd.set_text_pos(0, 0);
    }
    [[nodiscard]] std::string seen() const { return art(lcd.frame(), view); }
    /// What a text looks like in an empty viewport.
    std::string drawn(std::string_view text, std::uint32_t with_mode = 0) {
        lcd.set_mode(0);
        lcd.fill_rect(0, 0, 9, 5, graphics_t::paper);
        lcd.set_text_pos(0, 0);
        lcd.set_mode(with_mode);
        lcd.draw_string(text);
        return seen();
    }

    static constexpr io::pixel_rect_t view{100, 20, 109, 25};
    graphics_t lcd;
};

TEST(graphics, rectangles_are_clamped_into_the_viewport_whatever_their_corners) {
    sheet_t sheet;
    sheet.lcd.fill_rect(8, 4, 7, 3, graphics_t::ink);
    sheet.lcd.fill_rect(INT_MIN, 5, 2, INT_MAX, graphics_t::ink);
    sheet.lcd.fill_rect(300, -5, 400, -4, graphics_t::ink);
    EXPECT_EQ(sheet.seen(), "\n.........#\n..........\n..........\n.......##.\n.......##.\n###.......");
    EXPECT_EQ(ink_count(sheet.lcd.frame()), 8) << "outside the viewport";
    EXPECT_EQ(art(sheet.lcd.frame(), {99, 25, 99, 25}), "\n.");
}

TEST(graphics, a_pattern_repeats_every_eight_pixels_from_the_corner_of_the_screen) {
    sheet_t sheet;
    sheet.lcd.set_viewport(0, 0, 239, 63);
    sheet.lcd.fill_rect(1, 0, 25, 2, 0x81F0);
    EXPECT_EQ(art(sheet.lcd.frame(), {0, 0, 26, 2}), "\n.......##......##......##.."
                                                     "\n.###....####....####....##."
                                                     "\n.......##......##......##..");
    sheet.lcd.set_mode(mode::inverse);
    sheet.lcd.fill_rect(0, 0, 9, 1, 0x81F0);
    EXPECT_EQ(art(sheet.lcd.frame(), {0, 0, 8, 1}), "\n.######..\n....####.");
}

TEST(graphics, a_line_is_unbroken_and_ends_where_the_next_begins) {
    sheet_t sheet;
    sheet.lcd.move_to(0, 0);
    sheet.lcd.line_to(9, 3);
    EXPECT_EQ(sheet.seen(), "\n##........\n..###.....\n.....###..\n........##\n..........\n..........");
    sheet.lcd.line_to(9, 5);
    sheet.lcd.line_to(6, 5);
    EXPECT_EQ(sheet.seen(), "\n##........\n..###.....\n.....###..\n........##\n.........#\n......####");
    for (const auto& [x, y] : {std::pair{60, 30}, {30, 60}, {-60, 30}, {-30, 60}, {-60, -30}, {30, -60}}) {
        sheet.lcd.set_viewport(0, 0, 239, 63);
        sheet.lcd.fill_rect(0, 0, 239, 63, graphics_t::paper);
        sheet.lcd.move_to(120 - x / 2, 32 - y / 2);
        sheet.lcd.line_to(120 + x / 2, 32 + y / 2);
        EXPECT_EQ(ink_count(sheet.lcd.frame()), 61) << x << ' ' << y;
        EXPECT_EQ(art(sheet.lcd.frame(), {120, 32, 120, 32}), "\n#");
    }
}

TEST(graphics, contexts_keep_their_own_viewport_font_and_cursor) {
    sheet_t sheet;
    ASSERT_TRUE(sheet.lcd.select_context(4));
    EXPECT_FALSE(sheet.lcd.select_context(5));
    EXPECT_EQ(sheet.lcd.select_font(&small_font), &io::default_font);
    sheet.lcd.fill_rect(-1, -1, 0, 0, graphics_t::ink);
    EXPECT_EQ(art(sheet.lcd.frame(), {0, 0, 1, 0}), "\n#.");
    ASSERT_TRUE(sheet.lcd.select_context(0));
    sheet.lcd.fill_rect(-1, -1, 0, 0, graphics_t::ink);
    EXPECT_EQ(sheet.seen().substr(0, 4), "\n#..");
}

TEST(graphics, a_taller_font_moves_a_cursor_near_the_top_down) {
    sheet_t sheet;
    sheet.lcd.set_viewport(100, 20, 109, 60);
    sheet.lcd.set_pixel_pos(0, 1);
    EXPECT_EQ(sheet.lcd.select_font(&small_font), &small_font);
    sheet.lcd.draw_string("l");
    EXPECT_EQ(art(sheet.lcd.frame(), {100, 20, 101, 23}), "\n#.\n#.\n##\n..");
    sheet.lcd.set_viewport(100, 20, 109, 25);
    EXPECT_EQ(sheet.lcd.select_font(nullptr), &small_font) << "8 lines in 6: not below the bottom";
    sheet.lcd.select_font(&small_font);
    sheet.lcd.draw_string("l");
    EXPECT_EQ(art(sheet.lcd.frame(), {100, 22, 101, 26}), "\n##\n#.\n#.\n##\n..");
}

TEST(graphics, a_symbol_paints_its_whole_cell_and_nothing_outside_the_viewport) {
    sheet_t sheet;
    sheet.lcd.fill_rect(0, 0, 9, 5, graphics_t::ink);
    sheet.lcd.draw_string("al");
    EXPECT_EQ(sheet.seen(), "\n####.#####\n#.##.#####\n##########\n##########\n##########\n##########");
    sheet.lcd.set_mode(mode::no_wrap);
    sheet.lcd.set_pixel_pos(8, 1);
    sheet.lcd.draw_string(std::string(100, 'a'));
    EXPECT_EQ(sheet.seen(), "\n####.####.\n#.##.#####\n##########\n##########\n##########\n##########");
    EXPECT_EQ(art(sheet.lcd.frame(), {110, 18, 239, 25}).find('#'), std::string::npos);
    EXPECT_EQ(art(sheet.lcd.frame(), {0, 18, 99, 25}).find('#'), std::string::npos);
}

TEST(graphics, grey_symbols_give_grey_levels_and_inverse_mode_turns_them_round) {
    sheet_t sheet;
    sheet.lcd.select_font(&grey_font);
    sheet.lcd.set_pixel_pos(1, 0);
    sheet.lcd.draw_string("a");
    sheet.lcd.set_mode(mode::inverse);
    sheet.lcd.draw_string("a");
    EXPECT_EQ(sheet.seen().substr(0, 11), "\n.#K..V#...") << "0, 10 and 31; 31, 21 and 0";
}

TEST(graphics, unknown_characters_are_drawn_as_the_default_one_or_skipped) {
    sheet_t sheet;
    EXPECT_EQ(sheet.drawn("l\xC3\xA9l"), sheet.drawn("l l"));
    EXPECT_EQ(sheet.lcd.text_width("l\xC3\xA9l", 0), 6);
    // Without code page a character is its own symbol index
    constexpr io::font_t no_code_page{3, 3, 3, symbols.data(), 3, nullptr};
    const auto known = sheet.drawn("al");
    sheet.lcd.select_font(&no_code_page);
    EXPECT_EQ(sheet.drawn("\x01\xC4\x80\x7F\x02"), known);
    EXPECT_EQ(sheet.lcd.text_width("\x01\xC4\x80\x7F\x02", 0), 5);
}

TEST(graphics, text_wraps_at_spaces_and_within_words_that_are_too_long) {
    sheet_t sheet;
    EXPECT_EQ(sheet.drawn("aa a"),
              "\n######....\n#.##.#....\n######....\n###.......\n#.#.......\n###.......");
    EXPECT_EQ(sheet.drawn("aaal"),
              "\n#########.\n#.##.##.#.\n#########.\n#.........\n#.........\n##........");
    EXPECT_EQ(sheet.drawn("aa a", mode::no_wrap), "\n######..##\n#.##.#..#.\n######..##" + blank_line);
    sheet.lcd.set_mode(0);
    sheet.lcd.fill_rect(0, 0, 9, 5, graphics_t::ink);
    sheet.lcd.set_text_pos(0, 0);
    sheet.lcd.draw_string("aa a");
    EXPECT_EQ(sheet.seen(), "\n######....\n#.##.#....\n######....\n##########\n#.########\n##########")
        << "what a wrap leaves behind is paper";
}

TEST(graphics, a_line_end_moves_down_and_a_carriage_return_back) {
    sheet_t sheet;
    EXPECT_EQ(sheet.drawn("aa\rl"), "\n#.####....\n#.##.#....\n######...." + blank_line);
    EXPECT_EQ(sheet.drawn("a\nl\na"),
              "\n###.......\n#.#.......\n###.......\n#.........\n#.........\n##........")
        << "a line below the viewport scrolls nothing";
}

TEST(graphics, a_wrap_on_the_last_line_scrolls_the_viewport_alone) {
    sheet_t sheet;
    sheet.lcd.set_viewport(99, 18, 110, 27);
    sheet.lcd.rect_outline(0, 0, 11, 9);
    const auto frame = art(sheet.lcd.frame(), {99, 18, 99, 27}) + art(sheet.lcd.frame(), {110, 18, 110, 27});
    sheet.lcd.set_viewport(100, 20, 109, 25);
    EXPECT_EQ(sheet.drawn("aaa al"),
              "\n#########.\n#.##.##.#.\n#########.\n####......\n#.##......\n#####.....");
    EXPECT_EQ(sheet.drawn("aaa aaa l"),
              "\n#########.\n#.##.##.#.\n#########.\n#.........\n#.........\n##........");
    EXPECT_EQ(sheet.drawn("aaa aaa l", mode::no_wrap_at_bottom),
              "\n#########.\n#.##.##.#.\n#########.\n#########.\n#.##.##.#.\n#########.");
    EXPECT_EQ(art(sheet.lcd.frame(), {99, 18, 99, 27}) + art(sheet.lcd.frame(), {110, 18, 110, 27}), frame);
}

TEST(graphics, text_is_aligned_in_both_directions_line_by_line) {
    sheet_t sheet;
    EXPECT_EQ(sheet.drawn("l", mode::align_right), "\n........#.\n........#.\n........##" + blank_line);
    EXPECT_EQ(sheet.drawn("al", mode::align_centre), "\n..####....\n..#.##....\n..#####..." + blank_line);
    EXPECT_EQ(sheet.drawn("aaa \tal", mode::align_right),
              "\n.#########\n.#.##.##.#\n.#########\n.....####.\n.....#.##.\n.....#####")
        << "no blanks before the second line";
    EXPECT_EQ(sheet.drawn("a\n  l", mode::align_centre),
              "\n...###....\n...#.#....\n...###....\n....#.....\n....#.....\n....##....");
    EXPECT_EQ(sheet.drawn("l", mode::align_bottom).substr(33), "\n#.........\n#.........\n##........");
    EXPECT_EQ(sheet.drawn("l", mode::align_middle).substr(11, 33), "\n#.........\n#.........\n##........");
    sheet.lcd.set_pixel_pos(9, 5);
    sheet.lcd.set_mode(mode::align_left | mode::align_top);
    sheet.lcd.draw_string("a");
    EXPECT_EQ(sheet.seen().substr(0, 11), "\n###.......");
}

TEST(graphics, text_is_measured_up_to_a_word_end_a_line_end_or_as_its_widest_line) {
    const sheet_t sheet;
    const std::string text = "aa l\tl\naaaa";
    EXPECT_EQ(sheet.lcd.text_width(text, 0), 10);
    EXPECT_EQ(sheet.lcd.text_width(text, 1), 6);
    EXPECT_EQ(sheet.lcd.text_width(text, 2), 10 + 8 + 2);
    EXPECT_EQ(io::shortened_to_fit(small_font, std::string(80, 'a')), std::string(80, 'a'));
    EXPECT_EQ(io::shortened_to_fit(small_font, std::string(81, 'a')), std::string(77, 'a') + "...");
}

}  // namespace
