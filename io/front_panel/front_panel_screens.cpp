#include "io/front_panel/front_panel_screens.h"

#include "io/lcd/fonts.h"
#include "io/lcd/graphics.h"
#include "io/lcd/held_update.h"
#include "io/lcd/status_rows.h"
#include "io/lcd/text_layout.h"
#include "io/platform_tables.h"
#include "io/system.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace io {

namespace {

constexpr int right_edge = graphics_t::width - 1;
constexpr int bottom_edge = graphics_t::height - 1;
constexpr int rule_line = 7;
constexpr int columns = 30;
constexpr auto paper = graphics_t::paper;
constexpr auto ink = graphics_t::ink;

constexpr status_rows_t rows{{.last_row = 3,
                              .height = 16,
                              .first_text = 0,
                              .frame_bottom = 14,
                              .bar_bottom = 11,
                              .follows_font = true}};

void write_row(int row, std::string_view text) {
    graphics().set_text_pos(0, row);
    graphics().draw_string(text);
}

void write_cleared_row(int row, std::string_view text) {
    write_row(row, std::string(columns, ' '));
    write_row(row, text);
}

std::string label_and_value(std::string_view label, std::string_view value) {
    return std::string{label}.append(value);
}

void write_label_and_fitting_value(int row, std::string_view label, std::string_view value) {
    write_row(row, shortened_to_fit(graphics().font(), label_and_value(label, value)));
}

void draw_rule() {
    graphics().move_to(0, rule_line);
    graphics().line_to(right_edge, rule_line);
}

bool title_screen(const font_t& font, int column, std::string_view title) {
    front_panel_screens_t::clear_screen();
    const bool is_lit = graphics().init_graphics();
    draw_rule();
    graphics().select_font(&font);
    graphics().set_text_pos(column, 0);
    graphics().draw_string(title);
    return is_lit;
}

bool has_one_slot() {
    const auto& platforms = platform_tables::with_one_card_slot;
    return std::ranges::find(platforms, system_t::platform_id()) != platforms.end();
}

}  // namespace

bool front_panel_screens_t::clear_for_text() {
    clear_screen();
    const bool is_lit = graphics().init_graphics();
    graphics().select_font(&text_font);
    return is_lit;
}

bool front_panel_screens_t::clear_screen() {
    graphics().fill_rect(0, 0, right_edge, bottom_edge, paper);
    return true;
}

bool front_panel_screens_t::fill_screen(bool with_ink) {
    const held_update_t held;
    const bool is_lit = graphics().init_graphics();
    graphics().fill_rect(0, 0, right_edge, bottom_edge, with_ink ? ink : paper);
    return is_lit;
}

bool front_panel_screens_t::draw_text_row(int row, std::string_view text, bool centred) {
    return rows.draw_text(row, text, centred);
}

bool front_panel_screens_t::draw_progress_row(int row, int percent) {
    return rows.draw_progress(row, percent);
}

bool front_panel_screens_t::home_screen() {
    return title_screen(text_font, 12, " HOME ");
}

bool front_panel_screens_t::about_screen() {
    return title_screen(text_font, 11, " ABOUT ");
}

bool front_panel_screens_t::clear_settings_screen() {
    return title_screen(text_font, 7, " CLEAR SETTINGS ");
}

bool front_panel_screens_t::card_slots_screen() {
    return has_one_slot() ? title_screen(title_font, 10, " CARD SLOT ")
                          : title_screen(title_font, 9, " CARD SLOTS ");
}

bool front_panel_screens_t::rebooting_screen() {
    const bool is_lit = clear_for_text();
    return draw_text_row(1, "          REBOOTING", false) &&
           draw_text_row(2, "         PLEASE WAIT...", false) && is_lit;
}

bool front_panel_screens_t::slot_names(int first, std::string_view a, std::string_view b, std::string_view c,
                                       std::string_view d) {
    const held_update_t held;
    const std::array names{a, b, c, d};
    const int shown = has_one_slot() ? 1 : static_cast<int>(names.size());
    for (int i = 0; i < shown; ++i) {
        // Without sign: there are no letters for such a number, but it must not overflow either.
        const auto letter = 'A' + static_cast<unsigned>(first) + static_cast<unsigned>(i);
        const std::array label{static_cast<char>(letter), ':', ' '};
        write_cleared_row(i + 1,
                          label_and_value({label.data(), label.size()}, names[static_cast<std::size_t>(i)]));
    }
    return true;
}

bool front_panel_screens_t::countdown_row(int row, int seconds) {
    const held_update_t held;
    std::string text;
    switch (row) {
    case 1:
        text = "Clear settings";
        break;
    case 2:
        text = "Set factory state";
        break;
    default:
        text = "Level " + std::to_string(row);
        break;
    }
    text += " in " + std::to_string(seconds) + 's' + (seconds != 0 ? "..." : ", done");
    write_cleared_row(row, text);
    return true;
}

bool front_panel_screens_t::update_notice(std::string_view text) {
    const held_update_t held;
    const std::array<std::string_view, 3> texts{"Dante Update In Progress", "DO NOT POWER CYCLE", text};
    for (std::size_t i = 0; i < texts.size(); ++i) {
        write_cleared_row(static_cast<int>(i) + 1, shortened_to_fit(graphics().font(), texts[i]));
    }
    return true;
}

bool front_panel_screens_t::design_info(std::string_view name, std::string_view design,
                                        std::string_view status) {
    const held_update_t held;
    write_label_and_fitting_value(1, "NAME: ", name);
    write_label_and_fitting_value(2, "DESIGN: ", design);
    write_label_and_fitting_value(3, "STATUS: ", status);
    return true;
}

bool front_panel_screens_t::network_info(std::string_view title, std::string_view ip, std::string_view mask,
                                         std::string_view gateway) {
    const held_update_t held;
    clear_screen();
    draw_rule();
    const int length = static_cast<int>(std::min<std::size_t>(title.size(), std::size_t{2} * columns));
    graphics().set_text_pos((columns - length) / 2, 0);
    graphics().draw_string(title);
    write_row(1, label_and_value("IP ADDR: ", ip));
    write_row(2, label_and_value("NETMASK: ", mask));
    write_row(3, label_and_value("GATEWAY: ", gateway));
    return true;
}

bool front_panel_screens_t::about_info(std::string_view model, std::string_view version) {
    const held_update_t held;
    write_row(1, label_and_value("DEVICE MODEL: ", model));
    write_label_and_fitting_value(2, "FIRMWARE VER: ", version);
    return true;
}

bool front_panel_screens_t::level_meter(int level) {
    auto& lcd = graphics();
    lcd.fill_rect(10, 10, 20, level, paper);
    lcd.fill_rect(10, level, 20, 53, ink);
    lcd.rect_outline(10, 10, 20, 53);
    return true;
}

}  // namespace io
