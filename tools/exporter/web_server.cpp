#include "tools/exporter/web_server.h"

#include <httplib.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <semaphore>
#include <thread>
#include <utility>

namespace exporter {

namespace {

using namespace std::chrono_literals;

constexpr const char* metrics_type = "text/plain; version=0.0.4; charset=utf-8";
constexpr const char* text_type = "text/plain; charset=utf-8";
constexpr std::size_t longest_request = 4096;

/// Threads, and a bounded number of connections that wait for one: the next is accepted when there is room.
class bounded_pool_t : public httplib::ThreadPool {
  public:
    explicit bounded_pool_t(std::size_t threads)
        : ThreadPool{threads}, room_{static_cast<std::ptrdiff_t>(2 * threads)} {}

    void enqueue(std::function<void()> task) override {
        room_.acquire();
        ThreadPool::enqueue([this, task = std::move(task)] {
            task();
            room_.release();
        });
    }

  private:
    std::counting_semaphore<> room_;
};

void answer(httplib::Response& response, const exporter_t::answer_t& what) {
    response.status = what.status;
    response.set_content(what.text, what.status == 200 ? metrics_type : text_type);
}

}  // namespace

struct web_server_t::hidden_t {
    httplib::Server server;
    std::atomic<bool> ended{false};
};

web_server_t::web_server_t(exporter_t& exporter, std::size_t most_at_once)
    : hidden_{std::make_unique<hidden_t>()} {
    auto& server = hidden_->server;
    server.new_task_queue = [most_at_once] { return new bounded_pool_t{most_at_once}; };
    // The library's own options would let a second exporter take the address and half of the probes.
    server.set_socket_options([](int socket) {
        const int on = 1;
        ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    });
    // A connection that waits for its next request would hold a thread.
    server.set_keep_alive_max_count(1);
    server.set_read_timeout(2s);
    server.set_write_timeout(2s);
    server.set_payload_max_length(longest_request);
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
    if (port == 0) {
        return std::max(hidden_->server.bind_to_any_port(address), 0);
    }
    return hidden_->server.bind_to_port(address, port) ? port : 0;
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
