#include "sim/root/shared_state.h"

#include "sim/root/system_path.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>

namespace sim {

void* map_shared_state(std::string_view name, std::size_t size, bool& is_new) {
    int file = -1;
    is_new = true;
    if (!unit_root().empty()) {
        const auto path = unit_root().append("/sim/").append(name);
        is_new = ::access(path.c_str(), F_OK) != 0;
        file = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
        if (file < 0 || (is_new && ::ftruncate(file, static_cast<off_t>(size)) != 0)) {
            throw std::system_error{errno, std::generic_category(), path};
        }
    }
    void* const place =
        ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | (file < 0 ? MAP_ANONYMOUS : 0), file, 0);
    const int reason = errno;
    if (file >= 0) {
        ::close(file);
    }
    if (place == MAP_FAILED) {
        throw std::system_error{reason, std::generic_category(), std::string{name}};
    }
    return place;
}

}  // namespace sim
