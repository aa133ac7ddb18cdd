#pragma once

#include "fuzz/harness.h"
#include "ipc/local_address.h"
#include "platform/paths.h"
#include "sim/root/unit_definition.h"
#include "sim/root/unit_root.h"

#include <sys/socket.h>
#include <unistd.h>

#include <string_view>
#include <utility>

namespace fuzz {

/// The property engine's end of its socket on a unit of the fuzzer's own, without an engine: says what it is
/// told and hears nothing. One connection at a time.
class engine_end_t {
  public:
    engine_end_t() : listener_{::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)} {
        const auto address = zel::make_local_address(zel::paths::property_engine);
        require(address && ::bind(listener_, address->get(), address->length) == 0 &&
                    ::listen(listener_, 1) == 0,
                "the property engine's socket can be made");
    }
    engine_end_t(const engine_end_t&) = delete;
    engine_end_t& operator=(const engine_end_t&) = delete;
    ~engine_end_t() {
        hang_up();
        ::close(listener_);
    }

    /// Takes the client that has just connected.
    void accept() {
        hang_up();
        connection_ = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        require(connection_ >= 0, "a client that has connected can be accepted");
    }
    /// @return whether all of it fitted the socket.
    [[nodiscard]] bool say(std::string_view bytes) const {
        return ::send(connection_, bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
               static_cast<ssize_t>(bytes.size());
    }
    void say_no_more() const { ::shutdown(connection_, SHUT_WR); }
    void hang_up() {
        if (connection_ >= 0) {
            ::close(std::exchange(connection_, -1));
        }
    }

  private:
    sim::unit_root_t root_{*sim::find_unit("base-unit")};
    int listener_;
    int connection_ = -1;
};

}  // namespace fuzz
