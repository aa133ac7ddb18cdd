#pragma once

#include <string>

namespace sim {

/// Adds a file as a further destination of every line that this process logs, in the long pattern.
void add_log_file(const std::string& path);

}  // namespace sim
