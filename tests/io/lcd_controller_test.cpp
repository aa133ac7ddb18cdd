#include "io/graphics.h"
#include "tests/io/lcd_unit.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace {

using namespace std::string_literals;
using tests::lcd_unit_t;

std::string repeated(const std::string& text, int times) {
    std::string all;
    for (int i = 0; i < times; ++i) {
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
           repeated(pixels, 64 * 80) + " Caf";
}

/// A page station's two byte ports, with an LCD behind them.
class byte_ports_t : public sim::device_t {
  public:
    void write8(std::uint32_t offset, std::uint8_t value) override {
        if (offset != 3 && offset != 7) {
            device_t::write8(offset, value);
            return;
        }
        glass_.take(offset == 7, value);
    }
    sim::glass_state_t state;

  private:
    sim::glass_t glass_{state};
};

TEST(lcd_controller, the_start_leaves_a_lit_empty_glass_that_understood_every_byte) {
    const lcd_unit_t unit;
    const auto sent = lcd_unit_t::sent_by([] { EXPECT_TRUE(io::front_panel().initialise(true)); });
    EXPECT_EQ(sent, start_of_controller(" Wffdf") + " T12");
    const auto& glass = lcd_unit_t::panel().glass;
    EXPECT_TRUE(glass.lit());
    EXPECT_DOUBLE_EQ(glass.volts(), 12.0);
    EXPECT_EQ(glass.line_count, 64);
    EXPECT_EQ(glass.cut_short, 0u);
    EXPECT_EQ(lcd_unit_t::text_picture(), repeated(std::string(240, '.') + '\n', 64));
    EXPECT_EQ(sim::violations(), "");
}

TEST(lcd_controller, a_page_station_gets_the_same_bytes_on_its_ports) {
    const tests::bench_unit_t unit{"page-station"};
    auto board = std::make_unique<sim::fpga_t>();
    class identification_t : public sim::device_t {
        std::uint32_t read32(std::uint32_t) override { return 0xFEF1F0FD; }
    };
    auto ports = std::make_shared<byte_ports_t>();
    board->plug(0, 4, std::make_shared<identification_t>());
    board->plug(0x200500, 8, ports);
    sim::set_fpga(std::move(board));
    const io::system_t system;
    const auto sent = lcd_unit_t::sent_by([] { EXPECT_TRUE(io::graphics().init_graphics()); });
    EXPECT_EQ(sent, start_of_controller(" Dff Ddf"));
    EXPECT_TRUE(ports->state.lit());
    EXPECT_EQ(sim::violations(), "");
}

TEST(lcd_controller, a_flush_sends_the_words_of_the_dirty_rectangle_and_nothing_else) {
    const lcd_unit_t unit;
    ASSERT_TRUE(io::front_panel().initialise(true));
    auto& lcd = io::graphics();
    const auto block = [&lcd] { lcd.fill_rect(4, 10, 8, 11, io::graphics_t::ink); };
    EXPECT_EQ(lcd_unit_t::sent_by(block), "C15 D01 D02 C75 D0a D0b C5c Wf800 W0000 Wf800 W0000");
    const auto nothing = [&lcd] {
        lcd.begin_update();
        lcd.end_update();
    };
    EXPECT_EQ(lcd_unit_t::sent_by(nothing), "");
    EXPECT_EQ(lcd_unit_t::pixels(3, 10, 7), ".#####.");
}

TEST(lcd_controller, a_range_of_one_word_column_changes_the_scan_direction_and_the_next_changes_it_back) {
    const lcd_unit_t unit;
    ASSERT_TRUE(io::front_panel().initialise(true));
    const auto fill = [](int right) {
        return lcd_unit_t::sent_by([=] { io::graphics().fill_rect(3, 1, right, 1, io::graphics_t::ink); });
    };
    EXPECT_EQ(fill(5), "Cbc D06 D01 D01 C15 D01 D01 C75 D01 D01 C5c W0000");
    EXPECT_EQ(fill(4), "C15 D01 D01 C75 D01 D01 C5c W0000") << "no second change";
    EXPECT_EQ(fill(6), "Cbc D02 D01 D01 C15 D01 D02 C75 D01 D01 C5c W0000 W07df");
}

TEST(lcd_controller, a_data_word_costs_ten_register_accesses) {
    const lcd_unit_t unit;
    ASSERT_TRUE(io::front_panel().initialise(true));
    lcd_unit_t::panel().link.busy_reads = 0;
    const auto accesses = [](int lines) {
        const auto before = sim::fpga()->access_count();
        io::graphics().fill_rect(0, 0, 239, lines - 1, 0);
        return sim::fpga()->access_count() - before;
    };
    EXPECT_EQ(accesses(2) - accesses(1), 80u * 10u);
}

TEST(lcd_controller, a_start_that_fails_ends_at_once_and_is_made_again) {
    const lcd_unit_t unit;
    auto& link = lcd_unit_t::panel().link;
    link.fault = sim::spi_fault_e::never_done;
    for (const auto healthy : {0u, 20u, 100u, 3000u}) {  // command, data, tables, pixels
        link.healthy_transfers = healthy;
        const auto polls = lcd_unit_t::polls_of([] { EXPECT_FALSE(io::front_panel().initialise(true)); });
        EXPECT_EQ(polls, 100'000 + 1 + healthy * 3) << healthy << " transfers went well";
    }
    link.fault = sim::spi_fault_e::none;
    EXPECT_TRUE(io::graphics().init_graphics());
    EXPECT_TRUE(lcd_unit_t::panel().glass.lit());
}

}  // namespace
