#include "daemon/display.h"

#include "io/control.h"
#include "io/front_panel/front_panel.h"
#include "io/page_station/page_station.h"
#include "io/serial/io_lx4s.h"

#include <algorithm>

namespace firmware {

namespace {

constexpr int full_backlight = 127;

// A display is there when it can be brought up, tells its revision and takes a level. That the revision can
// be read is all that counts: every revision shows the same screens, so the number goes nowhere.

bool bring_up_front_panel() {
    auto& panel = io::front_panel();
    int revision = 0;
    return panel.initialise(true) && panel.read_revision(revision) && panel.set_backlight(full_backlight);
}

bool bring_up_page_station() {
    auto& station = io::page_station();
    std::uint32_t revision = 0;
    return station.init(true) && station.get_revision(revision) && station.set_backlight(full_backlight);
}

display_mode_e find_display() {
    if (!io::control().initialise(false)) {
        return display_mode_e::none;
    }
    if (bring_up_front_panel()) {
        return display_mode_e::front_panel;
    }
    if (bring_up_page_station()) {
        return display_mode_e::page_station;
    }
    if (io::serial_panel().init(true)) {
        return display_mode_e::serial_panel;
    }
    return display_mode_e::none;
}

void draw_opening_screen(display_mode_e mode) {
    switch (mode) {
    case display_mode_e::front_panel:
        io::front_panel().clear_for_text();
        io::front_panel().draw_text_row(0, "----- UPDATING FIRMWARE -----", false);
        io::front_panel().draw_text_row(3, "Please wait...", false);
        break;
    case display_mode_e::page_station:
        io::page_station().draw_text(0, "UPDATING FIRMWARE", true);
        break;
    case display_mode_e::serial_panel:
        io::serial_panel().start();
        break;
    case display_mode_e::none:
        break;
    }
}

}  // namespace

display_mode_e probe_display() {
    const auto mode = find_display();
    draw_opening_screen(mode);
    return mode;
}

void show_status(display_mode_e mode, std::string_view state_name, int progress, std::string_view detail) {
    const int percent = std::clamp(progress, 0, 100);
    switch (mode) {
    case display_mode_e::front_panel:
        io::front_panel().draw_text_row(1, state_name, false);
        io::front_panel().draw_progress_row(2, percent);
        io::front_panel().draw_text_row(3, detail, false);
        break;
    case display_mode_e::page_station:
        io::page_station().draw_text(1, state_name, false);
        io::page_station().draw_progress(2, percent);
        break;
    case display_mode_e::serial_panel:
        io::serial_panel().set_progress(percent);
        break;
    case display_mode_e::none:
        break;
    }
}

}  // namespace firmware
