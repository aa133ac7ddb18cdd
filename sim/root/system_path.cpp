#include "sim/root/system_path.h"

#include "platform/system_path.h"

#include <cstdlib>
#include <utility>

namespace sim {

namespace {

// Asked for before main, so it lives in a function; never freed, so that it outlives every user.
std::string& root() {
    static auto& directory = *new std::string{[] {
        const char* const value = std::getenv("FWSTATUS_UNIT_ROOT");
        return value == nullptr ? "" : value;
    }()};
    return directory;
}

}  // namespace

std::string unit_root() {
    return root();
}

void set_unit_root(std::string directory) {
    root() = std::move(directory);
}

}  // namespace sim

namespace zel {

std::string system_path(std::string_view unit_path) {
    return sim::unit_root().append(unit_path);
}

}  // namespace zel
