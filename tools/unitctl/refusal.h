#pragma once

#include <stdexcept>
#include <type_traits>

namespace tools::unitctl {

/// A command could not do what it was asked: exit status 1. Without a text when a driver has said why, if it
/// knows.
class refusal_t : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Calls what a command does; throws `refusal_t` when that returns false.
template <typename call_t>
void require_done(const call_t& call) {
    if constexpr (std::is_same_v<decltype(call()), bool>) {
        if (!call()) {
            throw refusal_t{""};
        }
    } else {
        call();
    }
}

}  // namespace tools::unitctl
