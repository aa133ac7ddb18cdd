#include "io/mmio.h"
#include "io/page_station.h"
#include "sim/glass.h"
#include "sim/keypad_setup.h"
#include "tests/io/bench_unit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <string>

namespace {

/// What something writes to standard output.
std::string said(const std::function<void()>& something) {
    testing::internal::CaptureStdout();
    something();
    return testing::internal::GetCapturedStdout();
}

TEST(page_station_elsewhere, other_units_and_a_missing_fpga_are_refused) {
    const tests::bench_unit_t unit{"base-unit"};
    auto& station = io::page_station();
    EXPECT_EQ(said([&] { EXPECT_FALSE(station.init(true)); }), "this is not a page station\n");
    std::uint32_t word = 0;
    EXPECT_FALSE(station.get_revision(word));
    EXPECT_FALSE(station.set_backlight(0));
    bool pressed = false;
    EXPECT_FALSE(station.read_key(word, pressed));
    EXPECT_FALSE(io::is_page_station());
}

class page_station : public testing::Test {
  protected:
    page_station() {
        zel::register_logger("drv_io_page_station");
        sim::set_up_keypad(unit_.root, sim::keypad_setup_e::up_to_date);
    }
    ~page_station() override { EXPECT_EQ(sim::violations(), ""); }

    void bring_up() {
        EXPECT_EQ(said([&] { EXPECT_TRUE(station_.init(true)); }),
                  "page station initialization\nkeypad done\n");
    }

    tests::bench_unit_t unit_{"page-station"};
    sim::page_station_state_t& state_ = sim::shared_state<sim::page_station_state_t>("page_station");
    io::page_station_t& station_ = io::page_station();
};

TEST_F(page_station, bring_up_dims_the_screen_starts_the_keypad_and_releases_its_lines) {
    bring_up();
    EXPECT_EQ(state_.backlight, -64);
    EXPECT_TRUE(state_.keypad_runs);
    // Programming and SDATA are off; the other two lines keep their drive, which leads nowhere.
    EXPECT_EQ(io::keypad_lines().line_shadow() & 0x0201u, 0u);
    std::uint32_t revision = 0;
    EXPECT_TRUE(station_.get_revision(revision));
    EXPECT_EQ(revision, 5u);
}

TEST_F(page_station, without_full_nothing_is_reset) {
    io::mmio::write32(io::system_t::fpga_base() + 0x20'0000, 0x7007);
    sim::fpga()->record(true);
    EXPECT_EQ(said([&] { EXPECT_TRUE(station_.init(false)); }), "");
    for (const auto& access : sim::fpga()->recorded()) {
        EXPECT_GE(access.offset, 0x20'0500u);  // the LCD alone
    }
}

TEST_F(page_station, controls_change_their_own_bits_only) {
    bring_up();
    EXPECT_TRUE(station_.set_backlight(127));
    EXPECT_EQ(state_.backlight, 127);
    EXPECT_TRUE(station_.set_output_bit0(true));
    EXPECT_TRUE(station_.set_output_bit1(true));
    EXPECT_TRUE(station_.set_output_bit14(true));
    io::page_station_output_bit2_high();
    EXPECT_TRUE(station_.set_output_bit1(false));
    EXPECT_TRUE(station_.set_backlight(-128));
    EXPECT_EQ(io::mmio::read32(io::system_t::fpga_base() + 0x20'0000), 0x7005u);
    EXPECT_TRUE(state_.general_outputs[2] && state_.general_outputs[3]);
    io::page_station_output_bit2_low();
    EXPECT_FALSE(state_.general_outputs[2]);
    for (const int wrong : {128, -129, 1 << 20}) {
        EXPECT_EQ(said([&] { EXPECT_FALSE(station_.set_backlight(wrong)); }),
                  "invalid LCD backlight value: " + std::to_string(wrong) + '\n');
    }
    EXPECT_EQ(state_.backlight, -128);

    state_.general_inputs[1] = true;
    state_.inputs = 0xC0FFEE;
    bool bit3 = true;
    bool bit4 = false;
    std::uint32_t inputs = 0;
    EXPECT_TRUE(station_.read_input_bit3(bit3) && station_.read_input_bit4(bit4) &&
                station_.read_input(inputs));
    EXPECT_FALSE(bit3);
    EXPECT_TRUE(bit4);
    EXPECT_EQ(inputs, 0xC0FFEEu);
}

TEST_F(page_station, key_events_are_taken_one_by_one) {
    bring_up();
    std::uint32_t key = 99;
    bool pressed = true;
    EXPECT_TRUE(station_.read_key(key, pressed));
    EXPECT_EQ(key, 99u);  // nothing waits: left as it was
    state_.face.key(63, true);
    state_.face.key(63, false);
    state_.face.key(0, true);
    for (const auto& [expected_key, expected_state] : {std::pair{63u, true}, {63u, false}, {0u, true}}) {
        EXPECT_TRUE(station_.read_key(key, pressed));
        EXPECT_EQ(key, expected_key);
        EXPECT_EQ(pressed, expected_state);
    }
    EXPECT_EQ(state_.keypad_link.transfers, 3u);

    state_.face.key(1, true);
    state_.keypad_link.fault = sim::spi_fault_e::never_done;
    EXPECT_EQ(said([&] { EXPECT_FALSE(station_.read_key(key, pressed)); }), "SPI transfer timed out\n");
}

TEST_F(page_station, leds_are_sent_as_one_image) {
    bring_up();
    EXPECT_TRUE(station_.set_led_a(5, true, false));
    EXPECT_TRUE(station_.set_led_a(32, true, false));
    EXPECT_TRUE(station_.set_led_b(31, true, false));
    EXPECT_TRUE(station_.set_led_b(6, true, false));
    EXPECT_EQ(state_.face.led_updates, 0u);
    EXPECT_TRUE(station_.set_led_b(6, false, true));
    for (unsigned i = 0; i < 33; ++i) {
        EXPECT_EQ(state_.face.leds_a[i], i == 5 || i == 32) << i;
        EXPECT_EQ(state_.face.leds_b[i], i == 31) << i;
    }
    for (const int wrong : {33, -1}) {
        EXPECT_EQ(said([&] { EXPECT_FALSE(station_.set_led_a(wrong, true, true)); }),
                  "invalid keypad LED: " + std::to_string(wrong) + '\n');
    }
    EXPECT_EQ(state_.face.led_updates, 1u);
}

/// Dark pixels of the glass in a rectangle, ends included.
int dark(unsigned x0, unsigned y0, unsigned x1, unsigned y1) {
    const auto picture = sim::picture_of(sim::shared_state<sim::glass_state_t>("glass"));
    int count = 0;
    for (unsigned y = y0; y <= y1; ++y) {
        count += static_cast<int>(std::count(&picture[y][x0], &picture[y][x1] + 1, 0));
    }
    return count;
}

TEST_F(page_station, the_progress_bar_grows_inside_its_frame) {
    bring_up();
    ASSERT_EQ(dark(0, 0, 239, 63), 0);
    const struct {
        int percent;
        unsigned last;
    } cases[] = {{0, 7}, {50, 119}, {100, 232}, {7, 22}};
    for (const auto& [percent, last] : cases) {
        SCOPED_TRACE(percent);
        EXPECT_TRUE(station_.draw_progress(2, percent));
        EXPECT_EQ(dark(4, 44, 235, 44) + dark(4, 61, 235, 61), 2 * 232);
        EXPECT_EQ(dark(4, 45, 4, 60) + dark(235, 45, 235, 60), 2 * 16);
        EXPECT_EQ(dark(7, 47, last, 58), 12 * static_cast<int>(last - 6));
        EXPECT_EQ(dark(0, 0, 239, 63), 2 * 232 + 2 * 16 + 12 * static_cast<int>(last - 6));
    }
    EXPECT_FALSE(station_.draw_progress(3, 50));
    EXPECT_TRUE(station_.draw_progress(2, 2'000'000'000));
    EXPECT_EQ(dark(236, 42, 239, 63), 4 * 12);
}

TEST_F(page_station, text_takes_a_row_of_21_lines) {
    bring_up();
    EXPECT_TRUE(station_.draw_progress(1, 100));  // what the text replaces
    EXPECT_TRUE(station_.draw_text(1, "Idle", false));
    EXPECT_GT(dark(0, 22, 40, 42), 0);
    EXPECT_EQ(dark(41, 22, 239, 63), 0);
    EXPECT_EQ(dark(0, 0, 239, 21), 0);

    EXPECT_TRUE(station_.draw_text(0, "HH", true));
    EXPECT_EQ(dark(0, 1, 109, 21), 0);
    EXPECT_EQ(dark(110, 1, 119, 21), dark(120, 1, 129, 21));
    EXPECT_GT(dark(110, 1, 119, 21), 0);

    EXPECT_FALSE(station_.draw_text(3, "no such row", false));
    EXPECT_TRUE(station_.draw_text(-1, "", false));
    EXPECT_TRUE(station_.draw_text(std::numeric_limits<int>::min(), "", false));
    // 304 pixels wide: the position -32 is taken as 224, and the text goes on below.
    EXPECT_TRUE(station_.draw_text(0, std::string(38, 'M'), true));
    EXPECT_EQ(dark(0, 1, 223, 21), 0);
    EXPECT_GT(dark(224, 1, 239, 63), 0);
}

TEST_F(page_station, an_answer_that_is_none_is_refused) {
    bring_up();
    state_.face.key(1, true);
    state_.face.answer = 0xAE;
    std::uint32_t key = 7;
    bool pressed = false;
    EXPECT_EQ(said([&] { EXPECT_FALSE(station_.read_key(key, pressed)); }),
              "invalid keypad response: 0xae\n");
    EXPECT_EQ(key, 7u);
    EXPECT_FALSE(station_.set_led_a(0, true, true));
    EXPECT_TRUE(unit_.log.has("[drv_io_page_station] [error] invalid keypad response=174"));

    state_.face.key(2, true);
    ASSERT_TRUE(station_.set_keypad_run(false));  // in reset: no answer, and no event
    EXPECT_FALSE(station_.send_leds());
    EXPECT_TRUE(unit_.log.has("invalid keypad response=0"));
    EXPECT_TRUE(station_.read_key(key, pressed));
    EXPECT_EQ(key, 7u);
}

}  // namespace
