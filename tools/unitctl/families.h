#pragma once

#include "tools/unitctl/command.h"
#include "tools/unitctl/session.h"

/// The commands of unitctl, a file for each family: they parse their words, call one operation of a driver
/// and print what it gives.
namespace tools::unitctl {

/// What the unit is and what answers on it; the names of all platforms.
void add_info_command(CLI::App& app, session_t& session);
/// Alert, lamps, fans, temperature, level, outputs.
void add_controller_commands(CLI::App& app, session_t& session);
/// Inputs of the unit and of a page station, the status line.
void add_input_commands(CLI::App& app, session_t& session);
/// The front panel's bring-up, LEDs, slot states and buttons.
void add_panel_commands(CLI::App& app, session_t& session);
/// The LCD of either panel: texts, bars, screens, backlight, bytes.
void add_lcd_commands(CLI::App& app, session_t& session);
/// Lines, rectangles, patterns and texts, below "lcd".
void add_drawing_commands(CLI::App& lcd, session_t& session);
/// The page station's bring-up, keys and key LEDs.
void add_station_commands(CLI::App& app, session_t& session);
/// The firmware of a page station's keypad controller.
void add_keypad_commands(CLI::App& app, session_t& session);
/// Its programming lines and steps, below "keypad".
void add_keypad_steps(CLI::App& keypad, session_t& session);
/// The serial front panel.
void add_serial_commands(CLI::App& app, session_t& session);
/// The serial port under it.
void add_port_commands(CLI::App& app, session_t& session);
/// Registers by name or offset.
void add_register_commands(CLI::App& app, session_t& session);
/// Attribute files of the kernel.
void add_attribute_commands(CLI::App& app, session_t& session);

}  // namespace tools::unitctl
