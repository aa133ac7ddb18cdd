#include "ipc/ipc_server.h"

#include "ipc/local_address.h"
#include "ipc/poll_one.h"
#include "platform/log.h"
#include "platform/logger_names.h"
#include "platform/system_path.h"

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <new>
#include <system_error>
#include <utility>

namespace zel {

namespace {

scope_logger error() {
    return {loggers::ipc, log_level_e::error};
}

}  // namespace

ipc_server_t::ipc_server_t(std::string path) : path_{std::move(path)} {}

ipc_server_t::~ipc_server_t() {
    cleanup();
}

int ipc_server_t::run() {
    stop = false;
    cleanup();
    if (const int result = open_listener(); result < 0) {
        return result;
    }
    std::vector<pollfd> entries;
    while (!stop) {
        constexpr int cycle_ms = 1000;
        list_descriptors(entries);
        if (::poll(entries.data(), entries.size(), cycle_ms) < 1) {
            may_accept_ = true;
            continue;
        }
        serve_clients(entries);
        may_accept_ = true;
        if ((entries.front().revents & POLLIN) != 0) {
            accept_client();
        }
    }
    return cleanup();
}

int ipc_server_t::open_listener() {
    const auto address = make_local_address(path_);
    if (!address) {
        return -1;
    }
    listener_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (listener_ < 0) {
        return listener_;
    }
    if (const int result = ::bind(listener_, address->get(), address->length); result < 0) {
        const int bind_error = errno;
        ::close(std::exchange(listener_, -1));
        errno = bind_error;
        return result;
    }
    constexpr int backlog = 8;
    ::listen(listener_, backlog);
    may_accept_ = true;
    listening_ = true;
    return 0;
}

void ipc_server_t::list_descriptors(std::vector<pollfd>& entries) const {
    constexpr std::size_t too_many = std::size_t{1} << 28;
    if (clients_.size() + 1 >= too_many) {
        throw std::bad_array_new_length{};
    }
    entries.clear();
    entries.push_back({may_accept_ ? listener_ : -1, POLLIN, 0});
    for (const int fd : clients_) {
        entries.push_back({fd, POLLIN | POLLRDHUP, 0});
    }
}

void ipc_server_t::serve_clients(const std::vector<pollfd>& entries) {
    auto client = clients_.begin();
    for (std::size_t i = 1; i < entries.size(); ++i) {
        const auto& entry = entries[i];
        if ((entry.revents & POLLIN) != 0) {
            receive(entry.fd);
        }
        if ((entry.revents & (POLLRDHUP | POLLNVAL | POLLHUP | POLLERR)) == 0) {
            ++client;
            continue;
        }
        on_disconnect(entry.fd);
        client = clients_.erase(client);
        timed_out_.erase(entry.fd);
        ::close(entry.fd);
    }
}

void ipc_server_t::receive(int fd) {
    std::array<char, 8192> bytes;  // NOLINT(*-member-init): recv fills it
    const auto count = ::recv(fd, bytes.data(), bytes.size(), MSG_DONTWAIT);
    if (count > 0) {
        on_data(fd, bytes.data(), static_cast<std::size_t>(count));
    }
}

void ipc_server_t::accept_client() {
    const int fd = ::accept(listener_, nullptr, nullptr);
    if (fd < 0) {
        // Out of descriptors or memory, the listener stays readable. Left out of one cycle it is tried again
        // after the next event or a second, in place of keeping the processor busy.
        may_accept_ = errno != EMFILE && errno != ENFILE && errno != ENOBUFS && errno != ENOMEM;
        return;
    }
    clients_.push_back(fd);
    timed_out_.erase(fd);  // a reused number starts clean
    on_connect(fd);
}

ssize_t ipc_server_t::send(int fd, const void* bytes, std::size_t length, int timeout_ms) {
    return send_wait(fd, timeout_ms) ? ::send(fd, bytes, length, MSG_DONTWAIT | MSG_NOSIGNAL) : 0;
}

bool ipc_server_t::send_wait(int fd, int timeout_ms) {
    pollfd entry{fd, POLLOUT, 0};
    const int ready = poll_one(entry, timeout_ms);
    const int poll_error = errno;
    if ((entry.revents & POLLHUP) != 0) {
        return false;
    }
    if (ready > 0) {
        timed_out_.erase(fd);
        return true;
    }
    if (ready < 0) {
        error() << "ipc_server_t::send_wait error " << std::generic_category().message(poll_error);
        return false;
    }
    if (timed_out_.insert(fd).second) {
        error() << "ipc_server_t::send_wait timeout on fd " << fd << " timeout " << timeout_ms << "ms";
    }
    return false;
}

int ipc_server_t::cleanup() {
    listening_ = false;
    if (listener_ >= 0) {
        ::close(std::exchange(listener_, -1));
    }
    for (const int fd : clients_) {
        ::close(fd);
    }
    clients_.clear();
    timed_out_.clear();
    return ::unlink(system_path(path_).c_str());
}

}  // namespace zel
