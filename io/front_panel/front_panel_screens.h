#pragma once

#include <string_view>

namespace io {

/// What the front panel's LCD can show: four text rows of 16 lines, and fixed screens. All of it is drawn
/// with the unit's drawing layer (io/lcd/graphics.h), whose flushes block for the bus and report no failure:
/// a picture that did not get through goes out with a later one.
///
/// Operations return their success. Those that reset the drawing layer fail when the LCD controller's start,
/// which may be due again, does; those with a row of 16 lines fail as io/lcd/status_rows.h says; the others
/// always succeed. Rows of the screens below are text rows of the current font, unless it says otherwise.
class front_panel_screens_t {
  public:
    /// Clears the screen, resets the drawing layer and selects the text font.
    static bool clear_for_text();
    static bool clear_screen();
    /// Resets the drawing layer and fills the screen with ink or paper.
    static bool fill_screen(bool ink);

    /// Rows 0..3 of 16 lines each (io/lcd/status_rows.h). Text that is not centred stands on the row of that
    /// number of the current font.
    static bool draw_text_row(int row, std::string_view text, bool centred);
    /// @param percent  0..100.
    static bool draw_progress_row(int row, int percent);

    // Screens with a title over a rule
    static bool home_screen();
    static bool about_screen();
    static bool clear_settings_screen();
    static bool card_slots_screen();

    static bool rebooting_screen();
    /// Names of four slots on rows 1 to 4, with letters from `first` (0 is "A") on. Units with one slot show
    /// the first name alone. Names are not shortened. The fourth one fits below the screen's title in the
    /// font of 13 lines alone, which `card_slots_screen` selects: a row 4 of the text font falls on row 3.
    static bool slot_names(int first, std::string_view a, std::string_view b, std::string_view c,
                           std::string_view d);
    /// Clears a row and writes what will happen when.
    /// @param row      1 "Clear settings", 2 "Set factory state", any other "Level" and its number. A row
    ///                 outside the screen falls on its first line or last row.
    /// @param seconds  0 stands for done.
    static bool countdown_row(int row, int seconds);
    /// Rows 1 to 3, cleared; the last one is `text`. Each is shortened to fit.
    static bool update_notice(std::string_view text);
    /// Rows 1 to 3, each shortened to fit. Clears nothing: what stood behind the end of a text stays.
    static bool design_info(std::string_view name, std::string_view design, std::string_view status);
    /// Clears the screen; a title over a rule, centred by its bytes, and rows 1 to 3. Nothing is shortened.
    static bool network_info(std::string_view title, std::string_view ip, std::string_view mask,
                             std::string_view gateway);
    /// Rows 1 and 2; the second alone, the version, is shortened to fit. Clears nothing, as `design_info`.
    static bool about_info(std::string_view model, std::string_view version);
    /// A framed column, filled from below.
    /// @param level  the line up to which it is filled, 10 (full) to 53 (empty). Any other is drawn beyond
    ///               the frame, as far as the screen goes.
    static bool level_meter(int level);
};

}  // namespace io
