#include "platform/system_path.h"

namespace zel {

std::string system_path(std::string_view unit_path) {
    return std::string{unit_path};
}

}  // namespace zel
