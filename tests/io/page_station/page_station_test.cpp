#include "io/page_station/page_station.h"
#include "sim/board/glass.h"
#include "sim/board/keypad_setup.h"
#include "sim/show/picture.h"
#include "tests/golden.h"
#include "tests/io/driver_test.h"

#include <limits>
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
    /// The next key event as "key pressed"; empty when it cannot be read.
    std::string next_key() {
        std::uint32_t key = 99;
        bool pressed = true;
        return station_.read_key(key, pressed) ? std::to_string(key) + (pressed ? " down" : " up") : "";
    }

    const tests::checked_unit_t unit_{"page-station"};
    sim::page_station_state_t& state_ = sim::shared_state<sim::page_station_state_t>("page_station");
    io::page_station_t& station_ = io::page_station();
};

TEST_F(page_station, its_lines_are_the_register_accesses_that_were_approved) {
    // After the bring-up programming and SDATA are off; the other two lines keep their drive, which leads
    // nowhere.
    EXPECT_EQ(io::keypad_lines().line_shadow() & 0x0201u, 0u);
    tests::listing_t listing{"page station"};
    for (const int value : {127, -128, 128}) {
        listing.tell("backlight", [&] { return station_.set_backlight(value); });
    }
    for (const auto set : {&io::page_station_t::set_output_bit0, &io::page_station_t::set_output_bit1,
                           &io::page_station_t::set_output_bit2, &io::page_station_t::set_output_bit14}) {
        listing.tell("output on", [&] { return (station_.*set)(true); });
    }
    listing.tell("LED 33", [&] { return station_.set_led_a(33, true, false); });
    for (const auto read : {&io::page_station_t::get_revision, &io::page_station_t::read_input}) {
        listing.tell_value("word", 99U, [&](std::uint32_t& word) { return (station_.*read)(word); });
    }
    for (const auto read : {&io::page_station_t::read_input_bit3, &io::page_station_t::read_input_bit4}) {
        listing.tell_value("input", false, [&](bool& level) { return (station_.*read)(level); });
    }
    EXPECT_EQ(listing.text(), tests::golden_text("page_station.txt", listing.text()));
}

TEST_F(page_station, key_events_are_taken_one_by_one_and_an_answer_that_is_none_is_refused) {
    auto& face = state_.face;
    EXPECT_EQ(next_key(), "99 down") << "nothing waits: left as it was";
    face.key(63, true);
    face.key(63, false);
    face.key(0, true);
    for (const auto* const event : {"63 down", "63 up", "0 down"}) {
        EXPECT_EQ(next_key(), event);
    }
    EXPECT_EQ(state_.keypad_link.transfers, 3u);

    const auto refused = [this] { return !next_key().empty(); };
    face.key(1, true);
    state_.keypad_link.fault = sim::spi_fault_e::never_done;
    EXPECT_EQ(refusal_of(refused), "SPI transfer timed out\n");
    state_.keypad_link.fault = sim::spi_fault_e::none;
    face.answer = 0xAE;
    EXPECT_EQ(refusal_of(refused), "invalid keypad response: 0xae\n");
    EXPECT_FALSE(station_.set_led_a(0, true, true));
    EXPECT_TRUE(unit_.log.has("[drv_io_page_station] [error] invalid keypad response=174"));
    ASSERT_TRUE(station_.set_keypad_run(false));  // in reset: no answer, and no event
    EXPECT_FALSE(station_.send_leds());
    EXPECT_TRUE(unit_.log.has("invalid keypad response=0"));
    EXPECT_EQ(next_key(), "99 down");
}

TEST_F(page_station, leds_are_sent_as_one_image) {
    EXPECT_TRUE(station_.set_led_a(5, true, false) && station_.set_led_a(32, true, false));
    EXPECT_TRUE(station_.set_led_b(31, true, false) && station_.set_led_b(6, true, false));
    EXPECT_EQ(state_.face.led_updates, 0u);
    EXPECT_TRUE(station_.set_led_b(6, false, true));
    for (unsigned i = 0; i < 33; ++i) {
        EXPECT_EQ(state_.face.leds_a[i], i == 5 || i == 32) << i;
        EXPECT_EQ(state_.face.leds_b[i], i == 31) << i;
    }
    EXPECT_EQ(state_.face.led_updates, 1u);
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
