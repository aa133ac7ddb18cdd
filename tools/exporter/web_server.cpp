#include "tools/exporter/web_server.h"

#include "tools/exporter/patient_server.h"

#include <httplib.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>
#include <utility>

namespace exporter {

namespace {

using namespace std::chrono_literals;

constexpr const char* metrics_type = "text/plain; version=0.0.4; charset=utf-8";
constexpr const char* text_type = "text/plain; charset=utf-8";

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
