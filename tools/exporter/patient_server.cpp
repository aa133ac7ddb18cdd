#include "tools/exporter/patient_server.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <memory>
#include <optional>
#include <utility>

namespace exporter {

namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr auto time_to_answer = 2s;

/// A request that has been read already, and its answer's way back, which is bounded in time.
class exchange_t : public httplib::Stream {
  public:
    exchange_t(int socket, std::string request) : socket_{socket}, request_{std::move(request)} {}
    ~exchange_t() override {
        ::shutdown(socket_, SHUT_RDWR);
        ::close(socket_);
    }
    exchange_t(const exchange_t&) = delete;
    exchange_t& operator=(const exchange_t&) = delete;

    [[nodiscard]] bool is_readable() const override { return read_ < request_.size(); }
    [[nodiscard]] bool is_writable() const override { return true; }
    ssize_t read(char* into, std::size_t size) override {
        const auto copied = request_.copy(into, size, read_);
        read_ += copied;
        return static_cast<ssize_t>(copied);
    }
    ssize_t write(const char* bytes, std::size_t size) override;
    void get_remote_ip_and_port(std::string& /*ip*/, int& /*port*/) const override {}
    void get_local_ip_and_port(std::string& /*ip*/, int& /*port*/) const override {}
    [[nodiscard]] socket_t socket() const override { return socket_; }

  private:
    int socket_;
    std::string request_;
    std::size_t read_ = 0;
    std::optional<steady_clock::time_point> deadline_;  // from the first byte of the answer on
};

ssize_t exchange_t::write(const char* bytes, std::size_t size) {
    deadline_ = deadline_.value_or(steady_clock::now() + time_to_answer);
    for (std::size_t sent = 0; sent < size;) {
        const auto taken = ::send(socket_, bytes + sent, size - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (taken >= 0) {
            sent += static_cast<std::size_t>(taken);
            continue;
        }
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline_ - steady_clock::now());
        pollfd waited{socket_, POLLOUT, 0};
        if (errno != EAGAIN || left <= 0ms || ::poll(&waited, 1, static_cast<int>(left.count())) <= 0) {
            return -1;
        }
    }
    return static_cast<ssize_t>(size);
}

/// Calls what it is given at once.
class no_queue_t : public httplib::TaskQueue {
  public:
    void enqueue(std::function<void()> task) override { task(); }
    void shutdown() override {}
};

}  // namespace

patient_server_t::patient_server_t(std::size_t threads)
    : pool_{threads}, entrance_{
                          [this](int socket, std::string request) { answer(socket, std::move(request)); }} {
    new_task_queue = [] { return new no_queue_t; };
}

// The next connection is accepted when there is room for its request.
bool patient_server_t::process_and_close_socket(socket_t socket) {
    entrance_.admit(socket);
    pool_.wait_for_room();
    return true;
}

void patient_server_t::answer(int socket, std::string request) {
    pool_.enqueue([this, exchange = std::make_shared<exchange_t>(socket, std::move(request))] {
        bool closed{};
        process_request(*exchange, true, closed, nullptr);
    });
}

}  // namespace exporter
