#include "sim/peers/pseudo_terminal.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <system_error>

namespace sim {

pseudo_terminal_t::pseudo_terminal_t()
    : our_end_{::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)} {
    std::array<char, 64> name{};
    if (our_end_ < 0 || ::grantpt(our_end_) != 0 || ::unlockpt(our_end_) != 0 ||
        ::ptsname_r(our_end_, name.data(), name.size()) != 0) {
        const int error_number = errno;
        hang_up();
        throw std::system_error{error_number, std::generic_category(), "no pseudo-terminal"};
    }
    path_ = name.data();
    units_end_ = ::open(path_.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
}

pseudo_terminal_t::~pseudo_terminal_t() {
    hang_up();
    if (units_end_ >= 0) {
        ::close(units_end_);
    }
}

void pseudo_terminal_t::hang_up() {
    if (our_end_ >= 0) {
        ::close(our_end_);
        our_end_ = -1;
    }
}

}  // namespace sim
