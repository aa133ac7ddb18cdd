#include "io/lcd/fonts.h"
#include "io/lcd/graphics.h"
#include "io/lcd/lcd_bus.h"
#include "tools/unitctl/families.h"

#include <array>
#include <cstdio>

namespace tools::unitctl {

namespace {

using texts_t = std::vector<std::string>;

int number_of(const std::string& text) {
    int number = 0;
    auto digits = text;
    static_cast<void>(decimal_unless_0x()(digits));
    if (!CLI::detail::lexical_cast(digits, number)) {
        throw CLI::ValidationError{"\"" + text + "\" is no number"};
    }
    return number;
}

/// What a command that has drawn returns.
bool shown(bool is_drawn) {
    session_t::require_shown();
    return is_drawn;
}

void require_row(const session_t& session, int row, bool is_page_stations) {
    const int last = is_page_stations ? 2 : 3;
    if ((row < 0 || row > last) && !session.force) {
        throw refusal_t{"the rows are 0 to " + std::to_string(last)};
    }
}

struct screen_t {
    const char* name;
    const char* help;
    std::vector<operand_t> arguments;
    bool (*draw)(const texts_t& arguments);
};

// A screen without arguments.
template <bool (*draw)()>
bool drawn(const texts_t& /*none*/) {
    return draw();
}

/// Every screen of the front panel.
const std::vector<screen_t>& screens() {
    using panel_t = io::front_panel_screens_t;
    static const std::vector<screen_t> all{
        {"text", "Empty, the drawing contexts as new", {}, drawn<panel_t::clear_for_text>},
        {"blank", "Empty", {}, drawn<panel_t::clear_screen>},
        {"home", "Empty, under the title HOME", {}, drawn<panel_t::home_screen>},
        {"about", "Empty, under a title, for about-info", {}, drawn<panel_t::about_screen>},
        {"about-info",
         "Two rows for the about screen; clears nothing",
         {{"MODEL", "UTF-8"}, {"VERSION", "UTF-8; shortened to fit"}},
         [](const texts_t& a) { return panel_t::about_info(a[0], a[1]); }},
        {"clear-settings", "Empty, under a title, for countdown", {}, drawn<panel_t::clear_settings_screen>},
        {"countdown",
         "Clears a row and writes what will happen when",
         {{"ROW", "1 clear settings, 2 factory state, any other a level"}, {"SECONDS", "0 is done"}},
         [](const texts_t& a) { return panel_t::countdown_row(number_of(a[0]), number_of(a[1])); }},
        {"card-slots", "Empty, under a title, for slot-names", {}, drawn<panel_t::card_slots_screen>},
        {"slot-names",
         "Four rows for the card slots; a unit with one slot shows the first name alone",
         {{"FIRST", "Letter of the first: 0 is A, 1 is B"},
          {"A", "Not shortened"},
          {"B", "Not shortened"},
          {"C", "Not shortened"},
          {"D", "Not shortened"}},
         [](const texts_t& a) { return panel_t::slot_names(number_of(a[0]), a[1], a[2], a[3], a[4]); }},
        {"update-notice",
         "Three rows, the last one the text",
         {{"TEXT", "UTF-8; shortened to fit"}},
         [](const texts_t& a) { return panel_t::update_notice(a[0]); }},
        {"design-info",
         "Three rows; clears nothing",
         {{"NAME", "Shortened to fit"}, {"DESIGN", "Shortened to fit"}, {"STATUS", "Shortened to fit"}},
         [](const texts_t& a) { return panel_t::design_info(a[0], a[1], a[2]); }},
        {"network-info",
         "A title and three rows",
         {{"TITLE", "Not shortened"},
          {"IP", "Not shortened"},
          {"MASK", "Not shortened"},
          {"GATEWAY", "Not shortened"}},
         [](const texts_t& a) { return panel_t::network_info(a[0], a[1], a[2], a[3]); }},
        {"level-meter",
         "A framed column, filled from below",
         {{"LEVEL", "The line up to which: 10 (full) to 53 (empty)"}},
         [](const texts_t& a) { return panel_t::level_meter(number_of(a[0])); }},
        {"rebooting", "That the unit restarts", {}, drawn<panel_t::rebooting_screen>},
    };
    return all;
}

void add_screens(CLI::App& lcd, session_t& session) {
    auto& group = add_group(lcd, "screen", "Draws a screen of the front panel");
    for (const auto& screen : screens()) {
        const auto arguments = std::make_shared<texts_t>(screen.arguments.size());
        auto& command = *group.add_subcommand(screen.name, screen.help);
        for (std::size_t i = 0; i < arguments->size(); ++i) {
            const auto& [name, help] = screen.arguments[i];
            command.add_option(name, arguments->at(i), help)->required();
        }
        command.callback([&session, &screen, arguments] {
            static_cast<void>(session.front_panel());
            if (!shown(screen.draw(*arguments))) {
                throw refusal_t{""};
            }
        });
    }
}

bool start(session_t& session) {
    if (!session.lcd_is_page_stations()) {
        return io::front_panel().reset_lcd();
    }
    io::graphics().mark_uninitialised();
    return io::page_station().init(false);
}

bool draw_text(session_t& session, int row, const std::string& text, bool centred) {
    const bool is_station = session.lcd_is_page_stations();
    require_row(session, row, is_station);
    return shown(is_station ? io::page_station().draw_text(row, text, centred)
                            : io::front_panel().draw_text_row(row, text, centred));
}

bool draw_progress(session_t& session, int row, int percent) {
    const bool is_station = session.lcd_is_page_stations();
    require_row(session, row, is_station);
    if ((percent < 0 || percent > 100) && !session.force) {
        throw refusal_t{"a percentage goes from 0 to 100"};
    }
    return shown(is_station ? io::page_station().draw_progress(row, percent)
                            : io::front_panel().draw_progress_row(row, percent));
}

bool fill(session_t& session, bool ink) {
    if (!session.lcd_is_page_stations()) {
        return shown(io::front_panel_t::fill_screen(ink));
    }
    auto& lcd = io::graphics();
    const bool is_lit = lcd.init_graphics();
    lcd.select_font(&io::text_font);
    lcd.fill_rect(0, 0, io::graphics_t::width - 1, io::graphics_t::height - 1,
                  ink ? io::graphics_t::ink : io::graphics_t::paper);
    return shown(is_lit);
}

void add_texts(CLI::App& lcd, session_t& session) {
    const auto centre = std::make_shared<bool>(false);
    add_command<int, std::string>(lcd, "text", "Clears a row and writes a text into it",
                                  {{{"ROW", "0 to 3; 0 to 2 on a page station"}, {"TEXT", "UTF-8"}}},
                                  [&session, centre](int row, const std::string& text) {
                                      return draw_text(session, row, text, *centre);
                                  })
        .add_flag("--centre", *centre, "In the middle of the row");
    add_command<int, int>(lcd, "progress", "Draws a bar over a row",
                          {{{"ROW", "0 to 3; 0 to 2 on a page station"}, {"PERCENT", "0 to 100"}}},
                          [&session](int row, int percent) { return draw_progress(session, row, percent); });
    auto& group = add_group(lcd, "fill", "Fills the screen; the drawing contexts are as new then");
    for (const bool ink : {true, false}) {
        add_command(group, ink ? "ink" : "paper", ink ? "All dark" : "All light", {},
                    [&session, ink] { return fill(session, ink); });
    }
}

void add_bytes(CLI::App& lcd, session_t& session) {
    auto& byte = add_group(lcd, "byte", "Sends one byte to the LCD controller");
    for (const bool is_data : {false, true}) {
        add_command<std::uint8_t>(byte, is_data ? "data" : "command", "Sends it as what it says",
                                  {{{"BYTE", "0 to 255"}}}, [&session, is_data](std::uint8_t value) {
                                      static_cast<void>(session.lcd_is_page_stations());
                                      return io::lcd_write(is_data, value);
                                  });
    }
    add_command<std::uint16_t>(lcd, "word", "Sends two data bytes to the LCD controller at once",
                               {{{"WORD", "0 to 65535"}}}, [&session](std::uint16_t word) {
                                   static_cast<void>(session.lcd_is_page_stations());
                                   return io::lcd_write_word(word);
                               });
}

}  // namespace

void add_lcd_commands(CLI::App& app, session_t& session) {
    auto& lcd = add_group(app, "lcd", "The LCD of a front panel or a page station");
    add_command(lcd, "start", "Resets and starts the LCD: empty, a front panel's dark", {},
                [&session] { return start(session); });
    add_command<int>(lcd, "backlight", "Sets the backlight", {{{"LEVEL", "-128 (dark) to 127"}}},
                     [&session](int level) {
                         return session.lcd_is_page_stations() ? io::page_station().set_backlight(level)
                                                               : io::front_panel().set_backlight(level);
                     });
    add_texts(lcd, session);
    add_screens(lcd, session);
    add_drawing_commands(lcd, session);
    add_bytes(lcd, session);
}

}  // namespace tools::unitctl
