#include "tools/exporter/web_server.h"

#include "tools/exporter/entrance.h"

#include <httplib.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <functional>
#include <optional>
#include <thread>
#include <utility>

namespace exporter {

namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr const char* metrics_type = "text/plain; version=0.0.4; charset=utf-8";
constexpr const char* text_type = "text/plain; charset=utf-8";
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

/// Threads that answer, and a bounded number of requests that wait for one.
class bounded_pool_t {
  public:
    explicit bounded_pool_t(std::size_t threads) : pool_{threads}, most_{2 * threads} {}
    ~bounded_pool_t() { pool_.shutdown(); }
    bounded_pool_t(const bounded_pool_t&) = delete;
    bounded_pool_t& operator=(const bounded_pool_t&) = delete;

    void wait_for_room() {
        for (auto count = count_.load(); count >= most_; count = count_.load()) {
            count_.wait(count);
        }
    }
    void enqueue(std::function<void()> task) {
        ++count_;
        pool_.enqueue([this, task = std::move(task)] {
            task();
            --count_;
            count_.notify_one();
        });
    }

  private:
    httplib::ThreadPool pool_;
    std::size_t most_;
    std::atomic<std::size_t> count_{0};
};

/// Calls what it is given at once.
class no_queue_t : public httplib::TaskQueue {
  public:
    void enqueue(std::function<void()> task) override { task(); }
    void shutdown() override {}
};

/// The library's server gives a thread to a connection and waits there for every byte. This one gives it to a
/// request that has arrived.
class patient_server_t : public httplib::Server {
  public:
    explicit patient_server_t(std::size_t threads)
        : pool_{threads}, entrance_{[this](int socket, std::string request) {
              pool_.enqueue([this, exchange = std::make_shared<exchange_t>(socket, std::move(request))] {
                  bool closed{};
                  process_request(*exchange, true, closed, nullptr);
              });
          }} {
        new_task_queue = [] { return new no_queue_t; };
    }

    /// The library's queue of five connections makes the sixth wait for a second.
    void lengthen_queue() { ::listen(svr_sock_, SOMAXCONN); }

  private:
    // The next connection is accepted when there is room for its request.
    bool process_and_close_socket(socket_t socket) override {
        entrance_.admit(socket);
        pool_.wait_for_room();
        return true;
    }

    bounded_pool_t pool_;
    entrance_t entrance_;
};

void answer(httplib::Response& response, const exporter_t::answer_t& what) {
    response.status = what.status;
    response.set_content(what.text, what.status == 200 ? metrics_type : text_type);
}

}  // namespace

struct web_server_t::hidden_t {
    explicit hidden_t(std::size_t threads) : server{threads} {}
    patient_server_t server;
    std::atomic<bool> ended{false};
};

web_server_t::web_server_t(exporter_t& exporter, std::size_t most_at_once)
    : hidden_{std::make_unique<hidden_t>(most_at_once)} {
    auto& server = hidden_->server;
    // The library's own options would let a second exporter take the address and half of the probes.
    server.set_socket_options([](int socket) {
        const int on = 1;
        ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    });
    server.Get("/probe", [&exporter](const httplib::Request& request, httplib::Response& response) {
        answer(response, exporter.probe(request.get_param_value("target"),
                                        request.get_header_value("X-Prometheus-Scrape-Timeout-Seconds")));
    });
    server.Get("/metrics", [&exporter](const httplib::Request&, httplib::Response& response) {
        answer(response, {200, exporter.metrics()});
    });
    server.Get("/", [](const httplib::Request&, httplib::Response& response) {
        response.set_content(
            "fwstatus-exporter: /probe?target=HOST tells of a unit, /metrics of the exporter.\n", text_type);
    });
}

web_server_t::~web_server_t() = default;

int web_server_t::bind(const std::string& address, int port) {
    auto& server = hidden_->server;
    const int bound = port == 0 ? std::max(server.bind_to_any_port(address), 0)
                                : (server.bind_to_port(address, port) ? port : 0);
    if (bound != 0) {
        server.lengthen_queue();
    }
    return bound;
}

bool web_server_t::serve() {
    const bool stopped = hidden_->server.listen_after_bind();
    hidden_->ended = true;
    return stopped;
}

void web_server_t::stop() {
    // A server that does not serve yet would not notice.
    while (!hidden_->ended && !hidden_->server.is_running()) {
        std::this_thread::sleep_for(5ms);
    }
    hidden_->server.stop();
}

}  // namespace exporter
