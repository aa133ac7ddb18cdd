#include "io/lcd/lcd_bus.h"
#include "io/page_station/page_station.h"
#include "io/page_station/page_station_lcd.h"
#include "sim/board/glass.h"
#include "sim/board/keypad_setup.h"
#include "sim/show/picture.h"
#include "tests/golden.h"
#include "tests/io/driver_test.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <string>
#include <utility>

namespace {

using tests::refusal_of;

class page_station : public testing::Test {
  protected:
    page_station() {
        zel::register_logger("drv_io_page_station");
        sim::set_up_keypad(unit_.root, sim::keypad_setup_e::up_to_date);
        EXPECT_EQ(tests::console_of([this] { EXPECT_TRUE(station_.init(true)); }),
                  "page station initialization\nkeypad done\n");
    }

    const tests::checked_unit_t unit_{"page-station"};
    sim::page_station_state_t& state_ = sim::shared_state<sim::page_station_state_t>("page_station");
    io::page_station_t& station_ = io::page_station();
};

TEST_F(page_station, a_keypad_held_in_reset_neither_answers_nor_has_events) {
    EXPECT_EQ(io::keypad_lines().line_shadow() & 0x0201u, 0u)
        << "programming and SDATA are off after the bring-up";
    state_.face.key(1, true);
    ASSERT_TRUE(station_.set_keypad_run(false));
    EXPECT_FALSE(station_.send_leds());
    EXPECT_TRUE(unit_.log.has("[drv_io_page_station] [error] invalid keypad response=0\n"));
    std::uint32_t key = 99;
    bool pressed = false;
    EXPECT_TRUE(station_.read_key(key, pressed) && key == 99U && !pressed) << "left as it was";
    io::keypad_lines().sclk_drive_on();
    sim::fpga()->record(true);
    tests::console_of([this] { EXPECT_TRUE(station_.init(true)); });
    const auto& accesses = sim::fpga()->recorded();
    for (const std::size_t block : {0U, 1U, 3U}) {  // control, status, keypad lines
        const auto& [kind, offset, value] = accesses[std::min<std::size_t>(block, 2)];
        EXPECT_TRUE(offset == 0x200000 + block * 0x100 && value == 0) << "first of all";
    }
    EXPECT_EQ(accesses[accesses.size() - 2].value & 1U, 0U)
        << "the lines are off the pins before SDATA is let go of";
    EXPECT_TRUE(station_.read_key(key, pressed) && key == 1U && pressed);
    io::page_station_output_bit2_high();
    EXPECT_TRUE(state_.general_outputs[2]);
    io::page_station_output_bit2_low();
    EXPECT_FALSE(state_.general_outputs[2]);
}

TEST(page_station_guard, a_driver_too_short_for_the_registers_is_told) {
    const tests::checked_unit_t unit{"page-station"};
    std::make_unique<io::system_t>().reset();  // which settles the platform
    unit.root.make_sparse_file("/dev/io", 0x80'0000);
    EXPECT_EQ(refusal_of([] { return io::page_station().init(true); }),
              "FPGA base address not initialized\n");
    EXPECT_FALSE(io::page_station_lcd_write(0, 1));
    EXPECT_EQ(io::page_station_lcd_write_word(0x1234), 0x34);
    EXPECT_FALSE(io::lcd_write(true, 1) || io::lcd_write_word(1) || io::keypad_lines_t{}.key_event_pending());
}

TEST_F(page_station, bars_and_texts_take_a_row_of_21_lines_each) {
    const auto& glass = sim::shared_state<sim::glass_state_t>("glass");
    const auto shows = [&glass](const char* golden) {
        const auto picture = sim::text_picture(sim::picture_of(glass));
        return picture == tests::golden_text(golden, picture);
    };
    for (const auto& [row, percent] : {std::pair{0, 0}, {1, 50}, {2, 2'000'000'000}}) {
        EXPECT_TRUE(station_.draw_progress(row, percent));
    }
    EXPECT_TRUE(shows("desk_bars.txt"));
    EXPECT_TRUE(station_.draw_progress(2, 100) && station_.draw_text(1, "Idle", false));
    EXPECT_TRUE(station_.draw_text(0, "HH", true));
    EXPECT_TRUE(shows("desk_texts.txt"));
    EXPECT_FALSE(station_.draw_progress(3, 50) || station_.draw_text(3, "no such row", false));
    const auto below_line_0 = [&glass] { return sim::text_picture(sim::picture_of(glass)).substr(241); };
    const auto before = below_line_0();
    EXPECT_TRUE(station_.draw_text(std::numeric_limits<int>::min(), "above", false));
    EXPECT_EQ(below_line_0(), before);
    // 304 pixels wide: the position -32 is taken as 224, and the text goes on below.
    EXPECT_TRUE(station_.draw_text(0, std::string(38, 'M'), true));
    EXPECT_TRUE(shows("desk_wide_text.txt"));
}

}  // namespace
