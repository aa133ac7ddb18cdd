#pragma once

#include <sys/types.h>

#include <optional>

namespace tools::unitctl {

/// The daemon's process, when it runs on this unit: one whose program is called "fwstatus" and that has the
/// unit's I/O device open. A daemon on a unit without the device holds no display.
///
/// Looks through /proc; processes of other users show themselves to root alone.
[[nodiscard]] std::optional<pid_t> find_daemon();

}  // namespace tools::unitctl
