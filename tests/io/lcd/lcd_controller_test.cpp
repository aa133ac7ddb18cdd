#include "io/page_station/page_station.h"
#include "tests/io/lcd/lcd_unit.h"

#include <memory>
#include <string>

namespace {

using namespace std::string_literals;
using tests::lcd_unit_t;

std::string repeated(const std::string& text, std::size_t times) {
    std::string all;
    while (all.size() < text.size() * times) {
        all += text;
    }
    return all;
}

/// The start of the LCD controller, `pixels` being how its data words look on the bus at hand.
std::string start_of_controller(const std::string& pixels) {
    const auto full_range = "C15 D00 D4f C75 D00 D3f "s;
    return "C30 C94 Cd1 C20 D08 C20 D0b C81 D12 D03 Cca D04 D0f D00 Ca6 Cbb D00 "
           "Cbc D02 D01 D01 " +
           full_range + "C31 C20" + repeated(" D01", 16) + " C21" + repeated(" D01", 16) +
           " C32 D01 D00 D05 C34 C30 C07 D19 C31 Ccd D00 Cfd Ccc C30 C30 Caf " + full_range + "C5c" +
           repeated(pixels, std::size_t{64} * 80) + " Caf";
}

TEST(lcd_controller, the_start_leaves_a_lit_empty_glass_that_understood_every_byte) {
    const lcd_unit_t unit;
    const auto sent = unit.sent_by([] { EXPECT_TRUE(io::front_panel().initialise(true)); });
    EXPECT_EQ(sent, start_of_controller(" Wffdf") + " T0c");
    const auto& glass = unit.panel().glass;
    EXPECT_TRUE(glass.lit());
    EXPECT_DOUBLE_EQ(glass.volts(), 12.0);
    EXPECT_EQ(glass.line_count, 64);
    EXPECT_EQ(glass.cut_short, 0u);
    EXPECT_EQ(unit.text_picture(), repeated(std::string(240, '.') + '\n', 64));
}

TEST(lcd_controller, a_page_station_gets_the_same_bytes_on_its_ports) {
    const tests::checked_unit_t unit{"page-station"};
    const io::system_t system;
    static_cast<void>(io::page_station());  // whose bus it is
    EXPECT_EQ(lcd_unit_t::sent_by([] { EXPECT_TRUE(io::graphics().init_graphics()); }),
              start_of_controller(" Dff Ddf"));
    EXPECT_TRUE(sim::shared_state<sim::glass_state_t>("glass").lit());
}

TEST(lcd_controller, a_flush_sends_the_words_of_the_dirty_rectangle_and_nothing_else) {
    const lcd_unit_t unit;
    ASSERT_TRUE(io::front_panel().initialise(true));
    auto& lcd = io::graphics();
    const auto fill = [&](int left, int top, int right, int bottom) {
        return unit.sent_by([&] { lcd.fill_rect(left, top, right, bottom, io::graphics_t::ink); });
    };
    EXPECT_EQ(fill(4, 10, 8, 11), "C15 D01 D02 C75 D0a D0b C5c Wf800 W0000 Wf800 W0000");
    EXPECT_EQ(unit.text_picture().substr(10 * 241 + 3, 7), ".#####.");
    const auto nothing = unit.sent_by([&] {
        lcd.begin_update();
        lcd.end_update();
    });
    EXPECT_EQ(nothing, "");
    // A range of one word column changes the scan direction, and the next wider one changes it back.
    EXPECT_EQ(fill(3, 1, 5, 1), "Cbc D06 D01 D01 C15 D01 D01 C75 D01 D01 C5c W0000");
    EXPECT_EQ(fill(3, 1, 4, 1), "C15 D01 D01 C75 D01 D01 C5c W0000") << "no second change";
    EXPECT_EQ(fill(3, 1, 6, 1), "Cbc D02 D01 D01 C15 D01 D02 C75 D01 D01 C5c W0000 W07df");
    // A new start keeps the direction. One that may not have arrived is sent again.
    fill(3, 1, 4, 1);
    const auto start = unit.sent_by([] { EXPECT_TRUE(io::front_panel().initialise(true)); });
    EXPECT_NE(start.find("Cbc D06 D01 D01 Cbc D02 D01 D01 C15 D00 D4f"), start.npos);
    const auto fill_column = [&] { lcd.fill_rect(3, 1, 4, 1, io::graphics_t::ink); };
    EXPECT_EQ(unit.polls_when_stopped_after(0, fill_column), 100'001);
    EXPECT_EQ(fill(3, 1, 6, 1).substr(0, 15), "Cbc D02 D01 D01");
    EXPECT_EQ(unit.polls_when_stopped_after(0, fill_column), 100'001);
    EXPECT_NE(unit.sent_by([&] { lcd.end_update(); }), "") << "what was not sent is sent, held back or not";
}

TEST(lcd_controller, a_start_that_fails_ends_at_once_and_is_made_again) {
    const lcd_unit_t unit;
    for (const auto transfers : {0u, 20u, 100u, 3000u}) {  // stops at a command, data, tables, pixels
        const auto start = [] { EXPECT_FALSE(io::front_panel().initialise(true)); };
        EXPECT_EQ(unit.polls_when_stopped_after(transfers, start), 1 + 100'000) << transfers;
    }
    EXPECT_TRUE(io::graphics().init_graphics());
    EXPECT_TRUE(unit.panel().glass.lit());
}

}  // namespace
