#include "tools/exporter/entrance.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

namespace exporter {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr const char* end_of_headers = "\r\n\r\n";
constexpr std::size_t arrivals_at_once = 64;

void tell_and_close(int socket, const char* status) {
    const auto answer =
        "HTTP/1.1 " + std::string{status} + "\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";
    static_cast<void>(::send(socket, answer.data(), answer.size(), MSG_NOSIGNAL | MSG_DONTWAIT));
    ::close(socket);
}

}  // namespace

entrance_t::entrance_t(taker_t taker) : taker_{std::move(taker)} {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::system_error{errno, std::generic_category(), "cannot make a pipe"};
    }
    arrivals_ = ends[0];
    entry_ = ends[1];
    thread_ = std::thread{[this] { run(); }};
}

entrance_t::~entrance_t() {
    ::close(entry_);
    thread_.join();
    ::close(arrivals_);
    for (const auto& client : clients_) {
        ::close(client.socket);
    }
}

// NOLINTNEXTLINE(readability-make-member-function-const): it adds a client
void entrance_t::admit(int socket) {
    while (::write(entry_, &socket, sizeof socket) < 0 && errno == EINTR) {
    }
}

void entrance_t::run() {
    for (bool open = true; open;) {
        wait_for_bytes();
        open = take_arrivals();
        std::erase_if(clients_, [this](client_t& client) { return has_left(client); });
        while (!clients_.empty() && clients_.front().deadline <= steady_clock::now()) {
            send_away_first("408 Request Timeout");
        }
        while (clients_.size() > most_clients) {
            send_away_first("503 Service Unavailable");
        }
    }
}

void entrance_t::wait_for_bytes() const {
    std::vector<pollfd> waited{{arrivals_, POLLIN, 0}};
    for (const auto& client : clients_) {
        waited.push_back({client.socket, POLLIN, 0});
    }
    auto left = milliseconds{-1};
    if (!clients_.empty()) {
        left = std::max(std::chrono::ceil<milliseconds>(clients_.front().deadline - steady_clock::now()),
                        milliseconds{0});
    }
    ::poll(waited.data(), waited.size(), static_cast<int>(left.count()));
}

// @return false when there will be none any more.
bool entrance_t::take_arrivals() {
    pollfd waited{arrivals_, POLLIN, 0};
    if (::poll(&waited, 1, 0) <= 0) {
        return true;
    }
    std::array<int, arrivals_at_once> sockets{};
    const auto size = ::read(arrivals_, sockets.data(), sizeof sockets);
    for (std::size_t i = 0; size > 0 && i < static_cast<std::size_t>(size) / sizeof(int); ++i) {
        clients_.push_back({sockets[i], steady_clock::now() + time});
    }
    return size != 0;
}

// Reads what has come from a client. @return whether it needs no more attention here.
bool entrance_t::has_left(client_t& client) {
    std::array<char, longest_request> bytes;  // NOLINT(cppcoreguidelines-pro-type-member-init)
    const auto size =
        ::recv(client.socket, bytes.data(), longest_request - client.request.size(), MSG_DONTWAIT);
    if (size < 0 && (errno == EAGAIN || errno == EINTR)) {
        return false;
    }
    if (size <= 0) {
        ::close(client.socket);
        return true;
    }
    client.request.append(bytes.data(), static_cast<std::size_t>(size));
    if (client.request.find(end_of_headers) != std::string::npos) {
        taker_(client.socket, std::move(client.request));
        return true;
    }
    if (client.request.size() < longest_request) {
        return false;
    }
    tell_and_close(client.socket, "431 Request Header Fields Too Large");
    return true;
}

void entrance_t::send_away_first(const char* status) {
    tell_and_close(clients_.front().socket, status);
    clients_.erase(clients_.begin());
}

}  // namespace exporter
