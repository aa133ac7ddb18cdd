#pragma once

#include <string>

namespace fwpush {

/// The password that goes with a user: from the environment variable FWPUSH_PASSWORD, or asked for on the
/// terminal without showing it. Throws std::runtime_error when there is neither.
[[nodiscard]] std::string password_for(const std::string& user);

}  // namespace fwpush
