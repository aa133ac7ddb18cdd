#include "daemon/display.h"
#include "io/system.h"
#include "platform/paths.h"
#include "sim/board/front_panel_block.h"
#include "sim/board/keypad_setup.h"
#include "sim/peers/serial_module.h"
#include "sim/root/shared_state.h"
#include "sim/show/picture.h"
#include "sim/show/png.h"
#include "sim/show/seven_segment_picture.h"
#include "tests/golden.h"
#include "tests/io/driver_test.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

using firmware::display_mode_e;
using firmware::probe_display;
using firmware::show_status;

sim::front_panel_state_t& panel() {
    return sim::shared_state<sim::front_panel_state_t>("front_panel");
}
sim::glass_state_t& desk_glass() {
    return sim::shared_state<sim::glass_state_t>("glass");
}

/// A unit whose hardware is mapped, as it is when the display is looked for.
struct unit_t : tests::checked_unit_t {
    using checked_unit_t::checked_unit_t;
    io::system_t system;
};

/// Compares a glass with its golden picture. Where FWSTATUS_PICTURES names a directory that has a PNG of that
/// name, takes it anew.
void expect_picture(const sim::glass_state_t& glass, const std::string& name) {
    const auto picture = sim::picture_of(glass);
    const auto text = sim::text_picture(picture);
    EXPECT_EQ(text, tests::golden_text(name + ".txt", text));
    const char* const directory = std::getenv("FWSTATUS_PICTURES");
    const auto png = std::filesystem::path{directory == nullptr ? "" : directory} / (name + ".png");
    if (directory != nullptr && std::filesystem::exists(png)) {
        sim::write_png(png, sim::tinted_picture(picture, 1, 4));
    }
}

TEST(display, is_the_lcd_front_panel_with_the_update_on_it_from_opening_to_end) {
    const unit_t unit{"base-unit"};
    const auto mode = probe_display();
    ASSERT_EQ(mode, display_mode_e::front_panel);
    EXPECT_EQ(panel().backlight, 127);
    expect_picture(panel().glass, "lcd-opening");

    show_status(mode, "Initializing", -1, "");
    expect_picture(panel().glass, "lcd-unknown-progress");
    show_status(mode, "Writing Firmware", 63, "Block 6 of 9");
    expect_picture(panel().glass, "lcd-running");
    show_status(mode, "Finished. Rebooting...", 1000, "");
    expect_picture(panel().glass, "lcd-final");
}

TEST(display, is_the_page_stations_lcd_where_there_is_no_panel) {
    const unit_t unit{"page-station"};
    sim::set_up_keypad(unit.root, sim::keypad_setup_e::up_to_date);
    const auto mode = probe_display();
    ASSERT_EQ(mode, display_mode_e::page_station);
    EXPECT_EQ(sim::shared_state<sim::page_station_state_t>("page_station").backlight, 127);
    show_status(mode, "Writing Firmware", 63, "is not shown");
    expect_picture(desk_glass(), "page-station");
    show_status(mode, "Writing gjpqy, a name too long for one row", 63, "is not shown");
    expect_picture(desk_glass(), "page-station-long-name");
    show_status(mode, "", 0, "");
    const auto nothing_done = desk_glass();
    show_status(mode, "", -1, "");
    EXPECT_EQ(sim::text_picture(sim::picture_of(desk_glass())),
              sim::text_picture(sim::picture_of(nothing_done)));
}

// The panel's worker, which stops only after whole passes, ends with a process of its own.
TEST(display, is_the_serial_panel_which_runs_and_shows_percentages_in_its_time) {
    using namespace std::chrono_literals;
    const auto show_percentages = [] {
        const unit_t unit{"serial-panel"};
        sim::serial_module_t module{sim::shared_state<sim::serial_display_t>("serial_module")};
        module.connect(unit.root.file(zel::paths::serial_front_panel));
        const auto mode = probe_display();
        EXPECT_EQ(mode, display_mode_e::serial_panel);
        show_status(mode, "Writing Firmware", 1000, "is not shown");
        constexpr std::size_t squares =
            1 + 1 + 16;  // behind the frames of the bring-up and of the worker's start
        EXPECT_TRUE(module.wait_for_frames(squares + 2, 20s));
        const auto frames = module.history();
        EXPECT_EQ(
            sim::seven_segment_text(frames.at(squares + 1).display),
            tests::golden_text("serial-100.txt", sim::seven_segment_text(frames.at(squares + 1).display)));
        const auto pass = frames.at(squares - 1).at - frames.at(2).at;
        EXPECT_TRUE(pass >= 15 * 240ms && pass < 15 * 500ms);
        std::_Exit(testing::Test::HasFailure() ? 1 : 0);
    };
    EXPECT_EXIT(show_percentages(), testing::ExitedWithCode(0), "");
}

TEST(display, of_a_unit_with_panel_and_page_station_is_the_panel_alone) {
    auto both = *sim::find_unit("base-unit");
    both.has_page_station = true;
    const unit_t unit{both};
    EXPECT_EQ(probe_display(), display_mode_e::front_panel);
    EXPECT_EQ(desk_glass().commands, 0u);
}

TEST(display, is_none_when_the_controller_fails) {
    auto definition = *sim::find_unit("base-unit");
    definition.in_container = true;
    const unit_t unit{definition};
    EXPECT_EQ(probe_display(), display_mode_e::none);
    EXPECT_EQ(panel().link.transfers, 0u) << "no panel is tried then";
}

}  // namespace
