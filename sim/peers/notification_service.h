#pragma once

#include "sim/peers/notification_parser.h"
#include "sim/peers/service.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string_view>
#include <vector>

namespace sim {

/// The notification service of the simulated unit, on "/tmp/.korv_ipc" below the unit's root. Takes the
/// daemon's texts and sends nothing. Bytes that are no notification are reported as a violation.
///
/// All operations may be called from any thread. The last progress of a burst may be the beginning of a
/// longer number: it counts once something follows, the client leaves, or 250 ms have passed.
class notification_service_t final : public service_t {
  public:
    struct counts_t {
        std::uint64_t begins = 0;
        std::uint64_t states = 0;
        std::uint64_t progresses = 0;
        std::uint64_t garbage_bytes = 0;
    };

    notification_service_t();
    ~notification_service_t();

    [[nodiscard]] counts_t counts();

    /// The latest notifications in order, 10,000 at most.
    [[nodiscard]] std::vector<notification_t> received_so_far();
    void forget_received();

  private:
    using clock_t = std::chrono::steady_clock;
    struct client_t {
        notification_parser_t parser;
        clock_t::time_point last_bytes;
    };

    void on_connect(int fd) override;
    void on_disconnect(int fd) override;
    void received(int fd, std::string_view bytes) override;
    void stopped() override;

    void finish(client_t& client);
    void settle();
    void keep(std::vector<notification_t> notifications);

    std::mutex lock_;  // for what follows
    std::map<int, client_t> clients_;
    std::deque<notification_t> received_;
    counts_t counts_;
};

}  // namespace sim
