#include "io/lite_io.h"

#include "platform/paths.h"
#include "platform/system_path.h"

#include <fcntl.h>

namespace io {

lite_io_t& lite_io_t::instance() {
    static auto& device = *new lite_io_t;
    return device;
}

lite_io_t::lite_io_t()
    : descriptor_{::open(zel::system_path(zel::paths::lite_io).c_str(), O_RDWR | O_CLOEXEC)} {}

}  // namespace io
