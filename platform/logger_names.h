#pragma once

#include <array>

/// The names of the module loggers, each written once: a line for a name that nobody registered is lost.
namespace zel::loggers {

inline constexpr const char* io = "drv_io";
inline constexpr const char* page_station = "drv_io_page_station";
inline constexpr const char* serial_panel = "drv_io_lx4s";
inline constexpr const char* ipc = "lin_ipc";
inline constexpr const char* property = "lin_property";  ///< for level files; nothing logs to it yet
inline constexpr const char* daemon = "eng_daemon";

/// All of them, for whoever registers them.
inline constexpr std::array all{io, page_station, serial_panel, ipc, property, daemon};

}  // namespace zel::loggers
