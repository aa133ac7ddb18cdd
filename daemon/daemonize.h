#pragma once

#include <cstdint>

/// Start-up faults, thrown by value and never caught: the process ends abnormally.
enum class engine_fault_e : std::int32_t {
    cannot_detach = 116,  ///< fork, setsid or chdir failed on the way into the background
};

namespace zel {

/// Detaches the process from its terminal: forks, and makes the child the leader of a session of its own with
/// umask 0 and working directory "/". In the child, standard input reads from /dev/null and standard output
/// becomes a copy of the inherited standard error, which is left as it is: that is where console lines go.
///
/// No other thread may be running: it would not exist in the child.
/// @return 1 in the parent, 0 in the child.
/// @throws engine_fault_e::cannot_detach
[[nodiscard]] int daemonize();

}  // namespace zel
