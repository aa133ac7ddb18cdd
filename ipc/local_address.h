#pragma once

#include <sys/socket.h>
#include <sys/un.h>

#include <optional>
#include <string_view>

namespace zel {

/// The address of a local stream socket, as bind and connect take it.
struct local_address_t {
    sockaddr_un address{};
    socklen_t length = 0;  ///< family and path, without a terminator

    [[nodiscard]] const sockaddr* get() const { return reinterpret_cast<const sockaddr*>(&address); }
};

/// Builds the address of a socket file.
/// @param unit_path  where the file lies on the unit; it is looked up through `zel::system_path`.
/// @return nothing, with `errno` set, when the path does not fit the address (107 characters) or holds a "%",
///         which the services of the unit cannot bind.
[[nodiscard]] std::optional<local_address_t> make_local_address(std::string_view unit_path);

}  // namespace zel
