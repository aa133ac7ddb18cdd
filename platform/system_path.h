#pragma once

#include <string>
#include <string_view>

namespace zel {

/// Where a path of the unit lies on this machine: the path itself on a unit, the same path below the unit's
/// root in a simulated one. Which of the two is decided by the linker (target/ or sim/), never at run time.
///
/// Safe to call before `main`. Allocates: a steady service pass keeps the result instead of asking again.
/// @param unit_path  absolute path as the unit knows it, see platform/paths.h.
[[nodiscard]] std::string system_path(std::string_view unit_path);

}  // namespace zel
