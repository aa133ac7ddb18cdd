#include "io/omap_io.h"

#include "io/mmio.h"
#include "platform/paths.h"
#include "platform/system_path.h"

#include <fcntl.h>

namespace io {

namespace {

constexpr std::size_t mapped_length = 18200;

}  // namespace

omap_io_t& omap_io_t::instance() {
    static auto& device = *new omap_io_t;
    return device;
}

omap_io_t::omap_io_t()
    : descriptor_{::open(zel::system_path(zel::paths::first_generation_io).c_str(), O_RDWR | O_CLOEXEC)} {
    if (present()) {
        mapping_ = mmio::map(descriptor_, mapped_length, 0);
    }
}

}  // namespace io
