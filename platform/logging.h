#pragma once

#include "platform/log.h"

#include <memory>
#include <string>
#include <string_view>

namespace spdlog::sinks {
class sink;
}

/// The set-up of logging that every program of the family shares: where lines go, how they look, and which
/// levels apply.
///
/// All loggers write to one distribution sink; set-up adds the sinks behind it. Everything is synchronous, on
/// the caller's thread, so that logging goes on unchanged in the child of a fork. Nothing here throws.
namespace zel {

/// Line pattern of the console sinks: date, time, logger, level, text.
inline constexpr const char* long_log_pattern = "[%m/%d/%Y %H:%M:%S] [%n] [%l] %v";

/// Registers a module's logger on the distribution sink, at level info. A name already registered is left
/// as it is. Safe to call before `main`.
void register_logger(const std::string& name);

/// Lets the program's lines go somewhere.
/// @param argv0      the program's path; its last component names the program and its default logger.
/// @param sink_kind  empty: the system log, followed by the program's level file;
///                   "stdout_color_sink_mt" or "stdout_color_sink_st": a coloured console;
///                   anything else: the name of a registered logger whose sinks are shared from then on.
void setup_logging(const std::string& argv0, const std::string& sink_kind);

/// `setup_logging`, then the levels of the environment variable SPDLOG_LEVEL.
void setup_logging_with_environment(const std::string& argv0, const std::string& sink_kind);

/// `setup_logging`, then the levels of every argument that begins with SPDLOG_LEVEL.
void setup_logging_with_arguments(int argc, const char* const* argv, const std::string& sink_kind);

/// Adds a further destination of every line to the distribution sink, with the pattern that it has.
void add_log_sink(const std::shared_ptr<spdlog::sinks::sink>& sink);

/// The program's name as `setup_logging` settled it; empty before.
[[nodiscard]] std::string program_name();

/// "Warning" or "warning" and so on; every other text, another spelling included, reads as info: a level file
/// brings a logger back to its default that way.
[[nodiscard]] log_level_e parse_level(std::string_view text);

/// Sets a registered logger's level and flush level from a name in any case ("notice" counts as info).
/// @return false, with nothing changed, when a text is empty, the logger does not exist or the level is
///         unknown.
bool set_logger_level(const std::string& logger_name, std::string_view level_name);

/// Applies the program's level file, "/var/rwfs2/log_level." + program name + ".json":
///
///     { "git_revision": "3f9c2d1", "fwstatus": { "drv_io": "trace", "lin_ipc": "debug" } }
///
/// A file written for another build is removed; one that is not of this form is left in place and ignored.
void apply_level_file(const std::string& program_name);

}  // namespace zel
