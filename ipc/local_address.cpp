#include "ipc/local_address.h"

#include "platform/system_path.h"

#include <cerrno>
#include <cstddef>

namespace zel {

std::optional<local_address_t> make_local_address(std::string_view unit_path) {
    const std::string path = system_path(unit_path);
    local_address_t result;
    if (path.size() >= sizeof result.address.sun_path) {
        errno = ENAMETOOLONG;
        return std::nullopt;
    }
    if (path.find('%') != std::string::npos || path.find('\0') != std::string::npos) {
        errno = EINVAL;
        return std::nullopt;
    }
    result.address.sun_family = AF_UNIX;
    path.copy(result.address.sun_path, path.size());
    result.length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
    return result;
}

}  // namespace zel
