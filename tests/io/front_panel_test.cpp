#include "io/front_panel.h"
#include "io/mmio.h"
#include "tests/golden_picture.h"
#include "tests/io/lcd_unit.h"

#include <array>
#include <climits>
#include <string>
#include <utility>

namespace {

using tests::golden_picture;
using tests::lcd_unit_t;
using tests::refusal_of;

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
    const auto supported = [](std::uint32_t fpga_id, int platform_code = 1, std::uint32_t model = 1) {
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
        EXPECT_TRUE(supported(id)) << id;
    }
    for (const std::uint32_t id : {0xDEADF00Du, 0xFEF1F0FDu, 0x50C1AB1Eu, 0xCAB005E5u}) {
        EXPECT_FALSE(supported(id)) << id;
    }
    EXPECT_FALSE(supported(0xCAFEBABE, 6) || supported(0xCAFEBABE, 1, 66) || supported(0xCAFEBABE, 1, 67));
    EXPECT_TRUE(supported(0xCAFEBABE, 1, 68));
}

TEST(front_panel, is_refused_where_it_is_missing_and_does_nothing_before_it_is_brought_up) {
    const lcd_unit_t unit;
    auto& panel = io::front_panel();
    std::uint32_t pressed = 0;
    int revision = 0;
    EXPECT_FALSE(panel.set_backlight(0) || panel.poll_buttons(pressed) || panel.read_revision(revision));
    EXPECT_FALSE(panel.reset_lcd() || panel.set_slot_channel_state(0, 0, 0) || panel.set_press_count(0, 0));
    panel.clear_for_text();
    unit.panel().present = false;
    EXPECT_FALSE(panel.initialise(true));
    EXPECT_TRUE(unit.log.has("Front panel not found"));
}

TEST(front_panel, the_bring_up_says_what_it_does_and_leaves_the_panel_dark) {
    const lcd_unit_t unit;
    auto& panel = io::front_panel();
    EXPECT_EQ(tests::console_of([&] { EXPECT_TRUE(panel.initialise(true)); }),
              "front panel initialization\nfront panel revision: 0\n");
    EXPECT_EQ(unit.panel().control, 0x80u);
    EXPECT_TRUE(panel.set_backlight(127));
    EXPECT_EQ(refusal_of([&] { return panel.set_backlight(128); }), "invalid LCD backlight value: 128\n");
    EXPECT_EQ(unit.panel().backlight, 127);
}

TEST(front_panel, buttons_are_counted_once_for_each_change) {
    const lcd_unit_t unit;
    auto& panel = io::front_panel();
    ASSERT_TRUE(panel.initialise(false));
    for (const std::uint32_t buttons : {0b000u, 0b010u, 0b010u, 0b101u}) {
        unit.panel().pressed_buttons = buttons;
        std::uint32_t pressed = 99;
        EXPECT_TRUE(panel.poll_buttons(pressed));
        EXPECT_EQ(pressed, buttons);
    }
    for (std::size_t button = 0; button < 3; ++button) {
        EXPECT_EQ(shared_word(0x59B8 + 4 * button), 1u) << "pressed";
        EXPECT_EQ(shared_word(0x59AC + 4 * button), button == 1 ? 1u : 0u) << "let go";
    }
    std::uint32_t count = 0;
    EXPECT_TRUE(panel.set_release_count(2, 7) && panel.get_release_count(2, count));
    EXPECT_EQ(count, 7u);
    EXPECT_EQ(refusal_of([&] { return panel.get_press_count(3, count); }), "invalid front panel button: 3\n");
}

TEST(front_panel, the_slot_behind_the_last_is_the_unit_itself_with_one_channel) {
    const lcd_unit_t unit{"card-frame"};
    auto& panel = io::front_panel();
    ASSERT_TRUE(panel.initialise(false));
    EXPECT_TRUE(panel.set_slot_channel_state(4, 0, 0xCAFE));
    EXPECT_EQ(shared_word(0x5950 + 4 * 20), 0xCAFEu);
    const auto refusal = [&](int slot, int channel) {
        return refusal_of([&] { return panel.set_slot_channel_state(slot, channel, 0); });
    };
    EXPECT_EQ(refusal(4, 1), "invalid front panel slot channel: 1\n");
    EXPECT_EQ(refusal(5, 0), "invalid front panel slot: 5\n");
    EXPECT_EQ(refusal(-1, 0), "invalid front panel slot: -1\n");
    EXPECT_EQ(refusal(0, 5), "invalid front panel channel: 5\n");
}

TEST(front_panel, every_revision_is_read_from_the_status_word_and_wires_its_leds_differently) {
    const lcd_unit_t unit;
    ASSERT_TRUE(io::front_panel().initialise(false));
    auto& panel = unit.panel();
    using drivers_t = std::array<std::uint16_t, 3>;
    const struct {
        bool told;
        std::uint8_t code;
        int revision;
        drivers_t drivers;
    } cases[] = {
        {false, 1, -1, {0x4001, 0x3002, 0x0401}}, {true, 0, 0, {0x4001, 0x3001, 0x0401}},
        {true, 15, 0, {0x4001, 0x3001, 0x0401}},  {true, 1, 1, {0x8002, 0x3002, 0x0802}},
        {true, 7, 1, {0x8002, 0x3002, 0x0802}},
    };
    for (const auto& [told, code, revision, drivers] : cases) {
        panel.tells_revision = told;
        panel.revision_code = code;
        int read = 99;
        EXPECT_TRUE(io::front_panel().read_revision(read));
        EXPECT_EQ(read, revision);
        // LED 0 first colour, 7 second, 9 first, 14 both, 15 second, 20 first
        EXPECT_TRUE(io::front_panel().set_leds(
            std::array{1, 0, 0, 0, 0, 0, 0, 3, 0, 1, 0, 0, 0, 0, 2, 3, 0, 0, 0, 0, 1}));
        EXPECT_EQ(std::to_array(panel.led_drivers), drivers) << revision;
        EXPECT_TRUE(io::front_panel().set_all_leds(2));
        EXPECT_EQ(std::to_array(panel.led_drivers), (drivers_t{0xFFFF, 0x3FFF, 0x0FFF})) << revision;
    }
    EXPECT_EQ(refusal_of([] { return io::front_panel().set_all_leds(4); }), "invalid front panel state: 4\n");
    EXPECT_EQ(panel.led_updates, 10u);
}

TEST(front_panel, the_large_base_unit_repeats_its_last_transfer_instead_of_lighting_leds) {
    const lcd_unit_t unit{"large-base-unit"};
    ASSERT_TRUE(io::front_panel().initialise(false));
    EXPECT_EQ(unit.sent_by([] { EXPECT_TRUE(io::front_panel().set_all_leds(2)); }), "T0c");
}

class front_panel_screen : public testing::Test {
  protected:
    front_panel_screen() {
        EXPECT_TRUE(panel_.initialise(true));
        panel_.clear_for_text();
    }
    void draw_a_pass() {
        panel_.draw_text_row(1, "after", false);
        panel_.draw_progress_row(2, 10);
        panel_.draw_text_row(3, "detail", false);
    }

    const lcd_unit_t unit_;
    io::front_panel_t& panel_ = io::front_panel();
};

TEST_F(front_panel_screen, a_long_status_wraps_at_a_space_and_the_bar_overwrites_what_ran_over) {
    panel_.draw_text_row(1, "Verifying the image of the second bank before switching", false);
    panel_.draw_text_row(3, "centred", true);
    EXPECT_EQ(unit_.text_picture(), golden_picture("long_status.txt", unit_.text_picture()));
    panel_.draw_progress_row(2, 100);
    panel_.draw_progress_row(3, 0);
    EXPECT_EQ(unit_.text_picture(), golden_picture("bars_over_status.txt", unit_.text_picture()));
}

TEST_F(front_panel_screen, rows_below_the_screen_are_refused_and_rows_above_touch_its_first_line_at_most) {
    panel_.fill_screen(true);
    const auto before = unit_.text_picture();
    EXPECT_FALSE(panel_.draw_text_row(4, "x", false) || panel_.draw_progress_row(4, 50));
    EXPECT_EQ(unit_.text_picture(), before);
    for (const int row : {-1, -2, -1000, INT_MIN}) {
        EXPECT_TRUE(panel_.draw_text_row(row, "above the screen", true));
        EXPECT_TRUE(panel_.draw_text_row(row, "above the screen", false));
        EXPECT_TRUE(panel_.draw_progress_row(row, 50));
        EXPECT_EQ(lines_of(unit_.text_picture(), 1, 63), lines_of(before, 1, 63)) << row;
    }
    EXPECT_TRUE(panel_.draw_progress_row(3, INT_MAX) && panel_.draw_progress_row(3, INT_MIN));
    EXPECT_EQ(lines_of(unit_.text_picture(), 1, 47), lines_of(before, 1, 47));
}

TEST_F(front_panel_screen, a_controller_that_stops_costs_one_poll_budget_a_row_and_nothing_is_lost) {
    panel_.draw_text_row(1, "before", false);
    for (const auto transfers : {1u, 5u, 700u}) {
        const auto row = [this] { panel_.draw_text_row(1, "between", false); };
        EXPECT_EQ(unit_.polls_when_stopped_after(transfers, row), 100'000 + 1);
    }
    EXPECT_EQ(unit_.polls_when_stopped_after(0, [this] { draw_a_pass(); }), 3 * 100'001);

    panel_.draw_progress_row(2, 10);
    const auto recovered = unit_.text_picture();
    panel_.clear_for_text();
    draw_a_pass();
    EXPECT_EQ(recovered, unit_.text_picture());
}

TEST_F(front_panel_screen, titles_stand_on_a_rule_and_a_text_too_wide_is_shortened_until_three_dots_fit) {
    panel_.card_slots_screen();
    panel_.slot_names(0, "Input card", "not shown", "not shown", "not shown");
    EXPECT_EQ(unit_.text_picture(), golden_picture("card_slot.txt", unit_.text_picture()));
    panel_.design_info("short", std::string(60, 'W'), "running");
    EXPECT_EQ(unit_.text_picture(), golden_picture("design.txt", unit_.text_picture()));
}

}  // namespace
