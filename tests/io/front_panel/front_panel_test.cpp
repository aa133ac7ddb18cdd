#include "io/front_panel/front_panel.h"
#include "io/mmio.h"
#include "platform/identity.h"
#include "tests/golden.h"
#include "tests/io/lcd/lcd_unit.h"

#include <array>
#include <climits>
#include <string>
#include <utility>

namespace {

using tests::golden_text;
using tests::lcd_unit_t;
using tests::refusal_of;

TEST(front_panel, only_some_platforms_and_models_have_one) {
    std::string report;
    for (const std::uint32_t id :
         {0xCAFEBABEu, 0xABCDEF01u, 0xBA5EBA11u, 0xB01DFACEu, 0xD15C105Eu, 0xDEADF00Du, 0xFEF1F0FDu,
          0x50C1AB1Eu, 0xCAB005E5u, 0x0DDBA115u, 0x5EAF00D5u}) {
        for (const auto& [platform, model] : {std::pair{1, 1u}, {6, 1u}, {1, 66u}, {1, 67u}, {1, 68u}}) {
            auto definition = *sim::find_unit("base-unit");
            definition.fpga_id = id;
            const tests::checked_unit_t unit{definition};
            zel::platform_t identity;
            identity.platform = platform;
            identity.part_number = model;
            zel::set_platform_identity(identity);
            const io::system_t system;  // lets go of the device again, so that the next one is a new board
            report += io::front_panel_t::is_supported() ? 'y' : '-';
        }
        report += ' ';
    }
    EXPECT_EQ(report, "y---y y---y y---y y---y y---y ----- ----- ----- ----- ----- ----- ");
}

TEST(front_panel, bring_up_leaves_it_dark_and_fails_without_a_panel) {
    const lcd_unit_t unit;
    unit.panel().present = false;
    EXPECT_FALSE(io::front_panel().initialise(true));
    EXPECT_TRUE(unit.log.has("Front panel not found"));
    unit.panel().present = true;
    EXPECT_EQ(tests::console_of([] { EXPECT_TRUE(io::front_panel().initialise(true)); }),
              "front panel initialization\nfront panel revision: 0\n");
    EXPECT_EQ(unit.panel().control, 0x80u);
    io::graphics().mark_uninitialised();
    unit.panel().link.fault = sim::spi_fault_e::never_done;
    auto& panel = io::front_panel();
    EXPECT_FALSE(panel.clear_for_text() || panel.fill_screen(true) || panel.home_screen())
        << "nothing is lit";
}

TEST(front_panel, every_bring_up_pulls_the_reset_line_and_starts_the_glass_whatever_the_register_held) {
    const lcd_unit_t unit;
    auto& panel = io::front_panel();
    auto* const control = io::system_t::fpga_base() + 0xC0000;
    for (const int time : {1, 2}) {
        io::mmio::write32(control, 0x1FF);  // the LCD in reset, its backlight half on
        io::graphics().select_font(&io::title_font);
        static_cast<void>(unit.sent_by([&] { EXPECT_TRUE(panel.initialise(true)) << time; }));
        std::string accesses;
        for (const auto& [kind, offset, value] : sim::fpga()->recorded()) {
            if (offset == 0xC0000) {
                accesses += (kind == sim::bus_access_t::kind_e::read32 ? " read " : " write ") +
                            std::to_string(value);
            }
        }
        EXPECT_EQ(accesses, " write 0 read 0 write 256 write 0 read 0 write 128");
        EXPECT_TRUE(unit.panel().glass.lit()) << time;
        EXPECT_EQ(&io::graphics().font(), &io::text_font);
    }
    io::mmio::write32(control, 0x1FF);
    EXPECT_TRUE(panel.set_backlight(5) && io::mmio::read32(control) == 0x105U)
        << "leaves the reset line as it is";
    static_cast<void>(unit.sent_by([&] { EXPECT_TRUE(panel.initialise(false)); }));
    EXPECT_EQ(unit.panel().control, 0x105U) << "nor does a bring-up without reset";
    io::mmio::write32(control, 0);
}

TEST(front_panel, every_revision_is_read_from_the_status_word_and_wires_its_leds_differently) {
    const lcd_unit_t unit;
    ASSERT_TRUE(io::front_panel().initialise(false));
    auto& panel = unit.panel();
    struct status_t {
        bool told;
        std::uint8_t code;
        int revision;
    };
    std::string wiring;
    for (const auto& [told, code, revision] :
         {status_t{false, 1, -1}, {true, 0, 0}, {true, 15, 0}, {true, 7, 1}}) {
        panel.tells_revision = told;
        panel.revision_code = code;
        int read = 99;
        EXPECT_TRUE(io::front_panel().read_revision(read) && read == revision) << revision;
        for (std::size_t led = 0; led < 21; ++led) {
            for (const int state : {1, 2, 3}) {
                std::array<int, 21> states{};
                states.at(led) = state;
                EXPECT_TRUE(io::front_panel().set_leds(states));
                const auto& words = panel.led_drivers;
                char line[64];
                std::snprintf(line, sizeof line, "%d LED %2zu %d: %04x %04x %04x\n", revision, led, state,
                              words[0], words[1], words[2]);
                wiring += line;
            }
        }
    }
    EXPECT_EQ(wiring, golden_text("led_wiring.txt", wiring));
    EXPECT_TRUE(io::front_panel().set_all_leds(2));
    EXPECT_EQ(std::to_array(panel.led_drivers), (std::array<std::uint16_t, 3>{0xFFFF, 0x3FFF, 0x0FFF}));
    EXPECT_EQ(refusal_of([] { return io::front_panel().set_all_leds(4); }), "invalid front panel state: 4\n");
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
    panel_.draw_text_row(0, "two\nlines, centred by the wider", true);
    panel_.draw_text_row(1, "Verifying the image of the second bank before switching", false);
    panel_.draw_text_row(3, "centred", true);
    EXPECT_EQ(unit_.text_picture(), golden_text("long_status.txt", unit_.text_picture()));
    panel_.draw_progress_row(2, 100);
    panel_.draw_progress_row(3, 0);
    EXPECT_EQ(unit_.text_picture(), golden_text("bars_over_status.txt", unit_.text_picture()));
}

TEST_F(front_panel_screen, rows_below_the_screen_are_refused_and_rows_above_touch_its_first_line_at_most) {
    constexpr std::size_t line = 241;
    panel_.fill_screen(true);
    const auto before = unit_.text_picture();
    EXPECT_FALSE(panel_.draw_text_row(4, "x", false) || panel_.draw_progress_row(4, 50));
    EXPECT_EQ(unit_.text_picture(), before);
    for (const int row : {-1, -2, -1000, INT_MIN}) {
        EXPECT_TRUE(panel_.draw_text_row(row, "above", true) && panel_.draw_text_row(row, "above", false));
        EXPECT_TRUE(panel_.draw_progress_row(row, 50));
        EXPECT_EQ(unit_.text_picture().substr(line), before.substr(line)) << row;
    }
    EXPECT_TRUE(panel_.draw_progress_row(3, INT_MAX) && panel_.draw_progress_row(3, INT_MIN));
    EXPECT_EQ(unit_.text_picture().substr(line, 47 * line), before.substr(line, 47 * line));
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

// A unit's pictures and the FPGA of the boards that show them.
using board_t = std::pair<const char*, std::uint32_t>;
class front_panel_screens : public testing::TestWithParam<board_t> {};

TEST_P(front_panel_screens, are_those_that_were_looked_at) {
    const auto& [name, fpga] = GetParam();
    auto definition = *sim::find_unit(name);
    definition.fpga_id = fpga;
    const lcd_unit_t unit{definition};
    auto& panel = io::front_panel();
    EXPECT_TRUE(panel.initialise(true));
    std::string pictures;
    const auto draw = [&](auto... screens) {
        ((screens(), pictures += sim::terminal_picture(sim::picture_of(unit.panel().glass), 122)), ...);
    };
    draw([&] { panel.home_screen(); }, [&] { panel.about_screen(); },
         [&] { panel.about_info("Base Unit", "4.2.0 of a branch with a name that is too long"); },
         [&] { panel.clear_settings_screen(); }, [&] { panel.countdown_row(1, 10); },
         [&] { panel.countdown_row(2, 0); }, [&] { panel.countdown_row(3, 7); },
         [&] { panel.card_slots_screen(); },
         [&] { panel.slot_names(0, "Input", "Output", "Telephone", "Network bridge"); },
         [&] {
             panel.clear_for_text();
             panel.update_notice("Step 3 of 4: the second bank, then the boot block");
         },
         [&] { panel.design_info("Hall", "W", "Synchronising presets with the backup controller, please"); },
         [&] { panel.network_info("CONTROL", "10.0.0.7", "255.255.255.0", "10.0.0.1"); },
         [&] { panel.level_meter(20); }, [&] { panel.rebooting_screen(); });
    EXPECT_EQ(pictures, golden_text(std::string{"screens-"} + name + ".txt", pictures));
}

INSTANTIATE_TEST_SUITE_P(of, front_panel_screens,
                         testing::Values(board_t{"base-unit", 0xCAFEBABE}, board_t{"base-unit", 0xBA5EBA11},
                                         board_t{"card-frame", 0xABCDEF01}));

}  // namespace
