#include "io/front_panel/front_panel_screens.h"

#include "io/lcd/fonts.h"
#include "io/lcd/graphics.h"
#include "io/lcd/text_layout.h"
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

/// Holds the update while a picture is put together.
class held_update_t {
  public:
    held_update_t() { graphics().begin_update(); }
    held_update_t(const held_update_t&) = delete;
    held_update_t& operator=(const held_update_t&) = delete;
    ~held_update_t() { graphics().end_update(); }
};

/// First line of a row of 16. A row further above the screen than its own height looks the same as any other.
int top_of(int row) {
    return 16 * std::max(row, -2);
}

void clear_band(int top) {
    graphics().fill_rect(0, top, right_edge, top + 15, paper);
}

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

void title_screen(const font_t& font, int column, std::string_view title) {
    front_panel_screens_t::clear_screen();
    graphics().init_graphics();
    draw_rule();
    graphics().select_font(&font);
    graphics().set_text_pos(column, 0);
    graphics().draw_string(title);
}

bool has_one_slot() {
    const auto platform = system_t::platform_id();
    return platform == 1 || platform == 5;
}

}  // namespace

void front_panel_screens_t::clear_for_text() {
    clear_screen();
    graphics().init_graphics();
    graphics().select_font(&text_font);
}

void front_panel_screens_t::clear_screen() {
    graphics().fill_rect(0, 0, right_edge, bottom_edge, paper);
}

void front_panel_screens_t::fill_screen(bool with_ink) {
    const held_update_t held;
    graphics().init_graphics();
    graphics().fill_rect(0, 0, right_edge, bottom_edge, with_ink ? ink : paper);
}

bool front_panel_screens_t::draw_text_row(int row, std::string_view text, bool centred) {
    if (row > 3) {
        return false;
    }
    auto& lcd = graphics();
    const held_update_t held;
    const int top = top_of(row);
    clear_band(top);
    if (centred) {
        // The cursor has 8 bits: text wider than the screen starts near its right edge, and wraps there.
        const auto x = static_cast<std::uint8_t>((graphics_t::width - lcd.text_width(text, 2)) / 2);
        lcd.set_pixel_pos(x, top + 15);
    } else {
        lcd.set_text_pos(0, row);
    }
    lcd.draw_string(text);
    return true;
}

bool front_panel_screens_t::draw_progress_row(int row, int percent) {
    if (row > 3) {
        return false;
    }
    auto& lcd = graphics();
    const held_update_t held;
    const int top = top_of(row);
    clear_band(top);
    lcd.fill_rect(4, top + 2, 235, top + 2, ink);
    lcd.fill_rect(4, top + 14, 235, top + 14, ink);
    lcd.fill_rect(4, top + 2, 4, top + 14, ink);
    lcd.fill_rect(235, top + 2, 235, top + 14, ink);
    const auto length = std::clamp<std::int64_t>(std::int64_t{percent} * 225 / 100, -right_edge, right_edge);
    lcd.fill_rect(7, top + 5, 7 + static_cast<int>(length), top + 11, ink);
    return true;
}

void front_panel_screens_t::home_screen() {
    title_screen(text_font, 12, " HOME ");
}

void front_panel_screens_t::about_screen() {
    title_screen(text_font, 11, " ABOUT ");
}

void front_panel_screens_t::clear_settings_screen() {
    title_screen(text_font, 7, " CLEAR SETTINGS ");
}

void front_panel_screens_t::card_slots_screen() {
    if (has_one_slot()) {
        title_screen(title_font, 10, " CARD SLOT ");
    } else {
        title_screen(title_font, 9, " CARD SLOTS ");
    }
}

void front_panel_screens_t::rebooting_screen() {
    clear_for_text();
    draw_text_row(1, "          REBOOTING", false);
    draw_text_row(2, "         PLEASE WAIT...", false);
}

void front_panel_screens_t::slot_names(int first, std::string_view a, std::string_view b, std::string_view c,
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
}

void front_panel_screens_t::countdown_row(int row, int seconds) {
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
}

void front_panel_screens_t::update_notice(std::string_view text) {
    const held_update_t held;
    const std::array<std::string_view, 3> rows{"Dante Update In Progress", "DO NOT POWER CYCLE", text};
    for (std::size_t i = 0; i < rows.size(); ++i) {
        write_cleared_row(static_cast<int>(i) + 1, shortened_to_fit(graphics().font(), rows[i]));
    }
}

void front_panel_screens_t::design_info(std::string_view name, std::string_view design,
                                        std::string_view status) {
    const held_update_t held;
    write_label_and_fitting_value(1, "NAME: ", name);
    write_label_and_fitting_value(2, "DESIGN: ", design);
    write_label_and_fitting_value(3, "STATUS: ", status);
}

void front_panel_screens_t::network_info(std::string_view title, std::string_view ip, std::string_view mask,
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
}

void front_panel_screens_t::about_info(std::string_view model, std::string_view version) {
    const held_update_t held;
    write_row(1, label_and_value("DEVICE MODEL: ", model));
    write_label_and_fitting_value(2, "FIRMWARE VER: ", version);
}

void front_panel_screens_t::level_meter(int level) {
    auto& lcd = graphics();
    lcd.fill_rect(10, 10, 20, level, paper);
    lcd.fill_rect(10, level, 20, 53, ink);
    lcd.rect_outline(10, 10, 20, 53);
}

}  // namespace io
