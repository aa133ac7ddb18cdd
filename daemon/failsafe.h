#pragma once

namespace zel {

/// When a supervised process that has ended is started again. Any value above 2 counts as `after_failure`.
namespace failsafe_mode {

inline constexpr unsigned never = 0;           ///< not at all
inline constexpr unsigned always = 1;          ///< however it ended
inline constexpr unsigned after_a_signal = 2;  ///< only when a signal ended it
inline constexpr unsigned after_failure = 3;   ///< unless it exited by itself with code 0

}  // namespace failsafe_mode

/// Forks the process that goes on to do the work and supervises it: waits for its end, removes its pid file
/// ("/var/run/" + the program's name + ".pid") and, as `mode` says, starts another one second later.
///
/// Blocks in the parent; a signal with a handler does not end its wait. To be called before anything starts a
/// thread or opens a connection: a thread does not exist in the child, and every restarted child would share
/// a connection with the ones before it. Log lines go to "eng_daemon", which the caller registers beforehand
/// (the daemon does in daemon/start_up.cpp); the debug lines show only when its level is lowered.
/// @param program_path  names the pid file by its last component; null when there is none.
/// @return 0 in every (re)started child; 1 in the supervising parent when it stops supervising.
[[nodiscard]] int failsafe(unsigned mode, const char* program_path);

}  // namespace zel
