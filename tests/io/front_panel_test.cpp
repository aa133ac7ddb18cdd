#include "io/front_panel.h"
#include "io/graphics.h"
#include "io/mmio.h"
#include "tests/golden_picture.h"
#include "tests/io/lcd_unit.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <string>

namespace {

using tests::golden_picture;
using tests::lcd_unit_t;

/// What one operation writes to standard output.
template <typename action_t>
std::string console_of(action_t action) {
    testing::internal::CaptureStdout();
    action();
    return testing::internal::GetCapturedStdout();
}

/// Whole lines out of a picture.
std::string lines_of(const std::string& picture, std::size_t first, std::size_t count) {
    constexpr std::size_t line_length = 241;
    return picture.substr(first * line_length, count * line_length);
}

/// Shared area C, as another program on the unit sees it.
std::uint32_t shared_word(std::size_t offset) {
    return io::mmio::read32(io::system_t::shared_area_c() + offset);
}

TEST(front_panel, only_some_platforms_and_models_have_one) {
    const auto supported = [](std::uint32_t fpga_id, int platform_code, std::uint32_t model) {
        auto definition = *sim::find_unit("base-unit");
        definition.fpga_id = fpga_id;
        const tests::bench_unit_t unit{definition};
        zel::platform_t identity;
        identity.platform = platform_code;
        identity.part_number = model;
        zel::set_platform_identity(identity);
        const io::system_t system;  // lets go of the device again, so that the next one is a new board
        return io::front_panel_t::is_supported();
    };
    for (const std::uint32_t id : {0xCAFEBABEu, 0xABCDEF01u, 0xBA5EBA11u, 0xB01DFACEu, 0xD15C105Eu}) {
        EXPECT_TRUE(supported(id, 1, 1)) << id;
    }
    for (const std::uint32_t id : {0xDEADF00Du, 0xFEF1F0FDu, 0x50C1AB1Eu, 0xCAB005E5u}) {
        EXPECT_FALSE(supported(id, 1, 1)) << id;
    }
    EXPECT_FALSE(supported(0xCAFEBABE, 6, 1));
    EXPECT_FALSE(supported(0xCAFEBABE, 1, 66));
    EXPECT_FALSE(supported(0xCAFEBABE, 1, 67));
    EXPECT_TRUE(supported(0xCAFEBABE, 1, 68));
}

TEST(front_panel, the_bring_up_says_what_it_does_and_leaves_the_panel_dark) {
    const lcd_unit_t unit;
    auto& front_panel = io::front_panel();
    EXPECT_EQ(console_of([&] { EXPECT_TRUE(front_panel.initialise(true)); }),
              "front panel initialization\nfront panel revision: 0\n");
    EXPECT_EQ(lcd_unit_t::panel().control, 0x80u);
    EXPECT_TRUE(io::front_panel().set_backlight(127));
    EXPECT_EQ(lcd_unit_t::panel().backlight, 127);
    EXPECT_EQ(console_of([] { EXPECT_FALSE(io::front_panel().set_backlight(128)); }),
              "invalid LCD backlight value: 128\n");
    EXPECT_EQ(lcd_unit_t::panel().backlight, 127);
}

TEST(front_panel, the_revision_is_read_from_the_status_word_as_it_comes_in) {
    const lcd_unit_t unit;
    ASSERT_TRUE(io::front_panel().initialise(false));
    auto& panel = lcd_unit_t::panel();
    const auto revision = [&panel](bool present, std::uint8_t code) {
        panel.tells_revision = present;
        panel.revision_code = code;
        int read = 99;
        EXPECT_TRUE(io::front_panel().read_revision(read));
        return read;
    };
    EXPECT_EQ(revision(true, 0), 0);
    EXPECT_EQ(revision(true, 1), 1);
    EXPECT_EQ(revision(true, 7), 1);
    EXPECT_EQ(revision(true, 15), 0);
    EXPECT_EQ(revision(false, 1), -1);
}

TEST(front_panel, a_panel_that_is_not_there_is_not_found) {
    const lcd_unit_t unit;
    lcd_unit_t::panel().present = false;
    EXPECT_FALSE(io::front_panel().initialise(true));
    EXPECT_TRUE(unit.log.has("Front panel not found"));
}

TEST(front_panel, buttons_are_counted_once_for_each_change) {
    const lcd_unit_t unit;
    ASSERT_TRUE(io::front_panel().initialise(false));
    std::uint32_t pressed = 99;
    const auto poll_with = [&pressed](std::uint32_t buttons) {
        lcd_unit_t::panel().pressed_buttons = buttons;
        EXPECT_TRUE(io::front_panel().poll_buttons(pressed));
        return pressed;
    };
    EXPECT_EQ(poll_with(0), 0u);
    EXPECT_EQ(poll_with(0b010), 0b010u);
    EXPECT_EQ(poll_with(0b010), 0b010u);
    EXPECT_EQ(poll_with(0b101), 0b101u);
    EXPECT_EQ(shared_word(0x59B8), 1u);
    EXPECT_EQ(shared_word(0x59BC), 1u);
    EXPECT_EQ(shared_word(0x59C0), 1u);
    EXPECT_EQ(shared_word(0x59AC + 4), 1u) << "button 1 was let go";
    std::uint32_t count = 0;
    EXPECT_TRUE(io::front_panel().set_release_count(2, 7));
    EXPECT_TRUE(io::front_panel().get_release_count(2, count));
    EXPECT_EQ(count, 7u);
    EXPECT_EQ(console_of([&] { EXPECT_FALSE(io::front_panel().get_press_count(3, count)); }),
              "invalid front panel button: 3\n");
}

TEST(front_panel, the_slot_behind_the_last_is_the_unit_itself_with_one_channel) {
    const lcd_unit_t unit{"card-frame"};
    auto& panel = io::front_panel();
    ASSERT_TRUE(panel.initialise(false));
    EXPECT_TRUE(panel.set_slot_channel_state(4, 0, 0xCAFE));
    EXPECT_EQ(shared_word(0x5950 + 4 * 20), 0xCAFEu);
    EXPECT_EQ(console_of([&] {
                  EXPECT_FALSE(panel.set_slot_channel_state(4, 1, 0));
                  EXPECT_FALSE(panel.set_slot_channel_state(5, 0, 0));
                  EXPECT_FALSE(panel.set_slot_channel_state(-1, 0, 0));
                  EXPECT_FALSE(panel.set_slot_channel_state(0, 5, 0));
              }),
              "invalid front panel slot channel: 1\ninvalid front panel slot: 5\n"
              "invalid front panel slot: -1\ninvalid front panel channel: 5\n");
}

TEST(front_panel, every_revision_wires_its_leds_differently) {
    const lcd_unit_t unit;
    ASSERT_TRUE(io::front_panel().initialise(false));
    auto& panel = lcd_unit_t::panel();
    const auto lit_by = [&panel](int revision, std::array<int, 21> states) {
        panel.tells_revision = revision >= 0;
        panel.revision_code = revision > 0 ? 1 : 0;
        int read = 0;
        EXPECT_TRUE(io::front_panel().read_revision(read));
        EXPECT_TRUE(io::front_panel().set_leds(states));
        return std::to_array(panel.led_drivers);
    };
    using drivers_t = std::array<std::uint16_t, 3>;
    // LED 0 first colour, 7 second, 9 first, 14 both, 15 second, 20 first
    const std::array<int, 21> some{1, 0, 0, 0, 0, 0, 0, 3, 0, 1, 0, 0, 0, 0, 2, 3, 0, 0, 0, 0, 1};
    EXPECT_EQ(lit_by(-1, some), (drivers_t{0x4001, 0x3002, 0x0401}));
    EXPECT_EQ(lit_by(0, some), (drivers_t{0x4001, 0x3001, 0x0401}));
    EXPECT_EQ(lit_by(1, some), (drivers_t{0x8002, 0x3002, 0x0802}));
    // 8 + 7 + 6 LEDs of two bits, but 7 + 1 in word 0 and 1 + 6 + 1 in word 1 of the oldest revision
    for (const int revision : {-1, 0, 1}) {
        std::array<int, 21> all{};
        all.fill(2);
        EXPECT_EQ(lit_by(revision, all), (drivers_t{0xFFFF, 0x3FFF, 0x0FFF})) << revision;
    }
    EXPECT_EQ(console_of([] { EXPECT_FALSE(io::front_panel().set_all_leds(4)); }),
              "invalid front panel state: 4\n");
    EXPECT_EQ(panel.led_updates, 6u);
    EXPECT_EQ(sim::violations(), "");
}

TEST(front_panel, the_large_base_unit_repeats_its_last_transfer_instead_of_lighting_leds) {
    const lcd_unit_t unit{"large-base-unit"};
    ASSERT_TRUE(io::front_panel().initialise(false));
    EXPECT_EQ(lcd_unit_t::sent_by([] { EXPECT_TRUE(io::front_panel().set_all_leds(2)); }), "T12");
}

TEST(front_panel, nothing_works_before_it_is_brought_up_and_nothing_crashes) {
    const lcd_unit_t unit;
    auto& panel = io::front_panel();
    std::uint32_t pressed = 0;
    int revision = 0;
    EXPECT_FALSE(panel.set_backlight(0));
    EXPECT_FALSE(panel.poll_buttons(pressed));
    EXPECT_FALSE(panel.read_revision(revision));
    EXPECT_FALSE(panel.reset_lcd());
    EXPECT_FALSE(panel.set_slot_channel_state(0, 0, 0));
    EXPECT_FALSE(panel.set_press_count(0, 0));
    panel.clear_for_text();
}

class front_panel_screen : public testing::Test {
  protected:
    front_panel_screen() {
        EXPECT_TRUE(io::front_panel().initialise(true));
        io::front_panel().clear_for_text();
    }
    ~front_panel_screen() override { EXPECT_EQ(sim::violations(), ""); }

    const lcd_unit_t unit_;
    io::front_panel_t& panel_ = io::front_panel();
};

TEST_F(front_panel_screen, a_long_status_wraps_at_a_space_and_the_bar_overwrites_what_ran_over) {
    const std::string status = "Verifying the image of the second bank before switching";
    panel_.draw_text_row(1, status, false);
    panel_.draw_text_row(3, "centred", true);
    EXPECT_EQ(unit_.text_picture(), golden_picture("long_status.txt", unit_.text_picture()));
    panel_.draw_progress_row(2, 0);
    EXPECT_EQ(unit_.pixels(0, 32 + 8, 12), "....#..#....");
}

TEST_F(front_panel_screen, the_bar_is_one_pixel_at_0_and_ends_at_232_at_100_percent) {
    panel_.draw_progress_row(2, 0);
    EXPECT_EQ(unit_.pixels(4, 40, 6), "#..#..");
    panel_.draw_progress_row(2, 100);
    EXPECT_EQ(unit_.pixels(230, 40, 10), "###..#....");
    EXPECT_EQ(unit_.pixels(0, 34, 240), "...." + std::string(232, '#') + "....");
    EXPECT_EQ(unit_.pixels(0, 46, 240), "...." + std::string(232, '#') + "....");
    EXPECT_EQ(unit_.pixels(4, 47, 1), ".");
    EXPECT_EQ(unit_.pixels(7, 37, 1) + unit_.pixels(7, 36, 1) + unit_.pixels(7, 43, 1) +
                  unit_.pixels(7, 44, 1),
              "#.#.");
}

TEST_F(front_panel_screen, rows_below_the_screen_are_refused_and_rows_above_touch_its_first_line_at_most) {
    panel_.fill_screen(true);
    const auto before = unit_.text_picture();
    EXPECT_FALSE(panel_.draw_text_row(4, "x", false));
    EXPECT_FALSE(panel_.draw_progress_row(4, 50));
    EXPECT_EQ(unit_.text_picture(), before);
    for (const int row : {-1, -2, -1000, INT_MIN}) {
        EXPECT_TRUE(panel_.draw_text_row(row, "above the screen", true));
        EXPECT_TRUE(panel_.draw_text_row(row, "above the screen", false));
        EXPECT_TRUE(panel_.draw_progress_row(row, 50));
        EXPECT_EQ(lines_of(unit_.text_picture(), 1, 63), lines_of(before, 1, 63)) << row;
    }
    EXPECT_TRUE(panel_.draw_progress_row(3, INT_MAX));
    EXPECT_TRUE(panel_.draw_progress_row(3, INT_MIN));
    EXPECT_EQ(lines_of(unit_.text_picture(), 1, 47), lines_of(before, 1, 47));
}

TEST_F(front_panel_screen,
       a_controller_that_stops_answering_costs_one_poll_budget_a_row_and_nothing_is_lost) {
    panel_.draw_text_row(1, "before", false);
    auto& link = unit_.panel().link;
    link.fault = sim::spi_fault_e::never_done;
    for (const auto healthy : {0u, 1u, 5u, 700u}) {
        link.healthy_transfers = healthy;
        const auto polls = unit_.polls_of([this] { panel_.draw_text_row(1, "between", false); });
        EXPECT_EQ(polls, 100'000 + 1 + healthy * 3);
    }
    const auto polls_of_a_pass = unit_.polls_of([this] {
        panel_.draw_text_row(1, "after", false);
        panel_.draw_progress_row(2, 10);
        panel_.draw_text_row(3, "detail", false);
    });
    EXPECT_EQ(polls_of_a_pass, 3 * 100'001);

    link.fault = sim::spi_fault_e::none;
    panel_.draw_progress_row(2, 10);
    const auto recovered = unit_.text_picture();
    panel_.clear_for_text();
    panel_.draw_text_row(1, "after", false);
    panel_.draw_progress_row(2, 10);
    panel_.draw_text_row(3, "detail", false);
    EXPECT_EQ(recovered, unit_.text_picture());
}

TEST_F(front_panel_screen, titles_stand_on_a_rule) {
    panel_.card_slots_screen();
    panel_.slot_names(0, "Input card", "not shown", "not shown", "not shown");
    EXPECT_EQ(unit_.text_picture(), golden_picture("card_slot.txt", unit_.text_picture()));
    panel_.home_screen();
    EXPECT_EQ(unit_.pixels(0, 7, 96), std::string(96, '#'));
    EXPECT_EQ(unit_.pixels(96, 0, 8), "........");
}

TEST_F(front_panel_screen, a_text_too_wide_is_shortened_until_three_dots_fit) {
    const auto width = [](const std::string& text) { return io::graphics().text_width(text, 0); };
    const std::string long_name(60, 'W');
    panel_.design_info("short", long_name, "running");
    const auto row_2 = lines_of(unit_.text_picture(), 32, 16);
    panel_.clear_for_text();
    std::string expected = "DESIGN: ";
    while (width(expected + "W") <= 231) {
        expected += "W";
    }
    io::graphics().set_text_pos(0, 2);
    io::graphics().draw_string(expected + "...");
    EXPECT_EQ(row_2, lines_of(unit_.text_picture(), 32, 16));
}

}  // namespace
