#include "ipc/unix_stream_socket.h"

#include "ipc/local_address.h"
#include "ipc/poll_one.h"

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <utility>

namespace zel {

unix_stream_socket_t::unix_stream_socket_t(std::string path) : path_{std::move(path)} {}

unix_stream_socket_t::~unix_stream_socket_t() {
    close();
}

bool unix_stream_socket_t::connect() {
    if (fd_ >= 0) {
        close();
    }
    const auto address = make_local_address(path_);
    if (!address) {
        return false;
    }
    fd_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd_ < 0) {
        return false;
    }
    if (::connect(fd_, address->get(), address->length) != 0) {
        close();
        return false;
    }
    return true;
}

int unix_stream_socket_t::close() {
    return ::close(std::exchange(fd_, -1));
}

bool unix_stream_socket_t::wait_writable(int timeout_ms) {
    if (fd_ < 0) {
        return false;
    }
    pollfd entry{fd_, POLLOUT, 0};
    const int ready = poll_one(entry, timeout_ms);
    return (entry.revents & POLLHUP) == 0 && ready == 1;
}

bool unix_stream_socket_t::wait_readable(int timeout_ms) {
    if (fd_ < 0) {
        return false;
    }
    pollfd entry{fd_, POLLIN | POLLRDHUP, 0};
    const int ready = poll_one(entry, timeout_ms);
    if ((entry.revents & POLLHUP) != 0 || ready != 1) {
        return false;
    }
    if ((entry.revents & POLLRDHUP) != 0) {
        // The peer sends no more, and poll calls such a socket readable for ever. What it sent before is
        // still ours to read; after that there is nothing to wait for.
        char next = 0;
        return ::recv(fd_, &next, 1, MSG_PEEK | MSG_DONTWAIT) > 0;
    }
    return true;
}

ssize_t unix_stream_socket_t::send(const void* data, std::size_t length) {
    return wait_writable(0) ? ::send(fd_, data, length, MSG_DONTWAIT | MSG_NOSIGNAL) : 0;
}

ssize_t unix_stream_socket_t::receive(void* buffer, std::size_t capacity) {
    return wait_readable(0) ? ::recv(fd_, buffer, capacity, MSG_DONTWAIT) : 0;
}

std::string unix_stream_socket_t::read_available() {
    std::string bytes;
    if (wait_readable(0)) {
        append_available(bytes);
    }
    return bytes;
}

// NOLINTNEXTLINE(readability-make-member-function-const): it takes bytes off the stream
std::size_t unix_stream_socket_t::append_available(std::string& bytes) {
    std::array<char, 128> chunk;  // NOLINT(*-member-init): recv fills it
    std::size_t appended = 0;
    while (appended < most_at_once) {
        const auto count = ::recv(fd_, chunk.data(), chunk.size(), MSG_DONTWAIT);
        if (count < 1) {
            break;
        }
        bytes.append(chunk.data(), static_cast<std::size_t>(count));
        appended += static_cast<std::size_t>(count);
        // A local stream fills a read from all that is queued: less than asked for is all there was.
        if (static_cast<std::size_t>(count) < chunk.size()) {
            break;
        }
    }
    return appended;
}

}  // namespace zel
