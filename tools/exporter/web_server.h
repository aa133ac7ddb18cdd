#pragma once

#include "tools/exporter/exporter.h"

#include <memory>
#include <string>

namespace exporter {

/// The exporter's web server: /probe?target=HOST and /metrics.
class web_server_t {
  public:
    /// What a client may take until its request has come is bounded, see `entrance_t`.
    /// @param most_at_once  requests answered at the same time. Twice as many are taken in; further clients
    ///                      wait in the kernel's queue.
    web_server_t(exporter_t& exporter, std::size_t most_at_once);
    ~web_server_t();
    web_server_t(const web_server_t&) = delete;
    web_server_t& operator=(const web_server_t&) = delete;

    /// @param port  0 for any. @return the port, 0 when the address cannot be listened on.
    [[nodiscard]] int bind(const std::string& address, int port);

    /// Serves until `stop`. @return false when it ended by itself.
    bool serve();
    /// May be called by another thread. What is being answered is answered first.
    void stop();

  private:
    struct hidden_t;
    std::unique_ptr<hidden_t> hidden_;
};

}  // namespace exporter
