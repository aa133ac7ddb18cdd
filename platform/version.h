#pragma once

#include <string_view>

namespace zel {

/// Version and source revision of this build, for people: "fwstatus 1.0.0 (revision 2513867a1b2c)". The
/// revision ends in "-dirty" when the tree held changes that were not committed, and is "unknown" outside of
/// git. Ends in a zero byte, never blocks or fails.
///
/// The same text stands in every program behind the mark "@(#)", where `strings` and `what` find it, also in
/// the daemon, which takes no arguments.
[[nodiscard]] std::string_view version_text();

}  // namespace zel
