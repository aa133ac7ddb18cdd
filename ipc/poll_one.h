#pragma once

#include <poll.h>

namespace zel {

/// Polls one descriptor. A wait that a signal interrupts goes on for what is left of its time: the signal
/// says nothing about the descriptor, and whoever took it for a time-out would leave an answer behind, to be
/// taken for the answer to the next question.
/// @param timeout_ms  0 tests and returns, a negative value waits without end.
/// @return as poll does: 1 ready, 0 time-out, negative with `errno` set. `entry.revents` is 0 unless ready.
int poll_one(pollfd& entry, int timeout_ms);

}  // namespace zel
