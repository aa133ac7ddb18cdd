#pragma once

#include <string>

namespace zel {

/// The source revision of the running firmware: member "git_revision" of "/build_info.json". Empty when the
/// file is missing, is not a JSON object, or has no such string. Reads the file anew on every call.
void read_build_revision(std::string& revision);

}  // namespace zel
