#include "ipc/receive_buffer.h"

namespace zel {

std::string& receive_buffer_t::storage() {
    if (consumed_ >= size()) {
        bytes_.erase(0, consumed_);
        consumed_ = 0;
    }
    return bytes_;
}

}  // namespace zel
