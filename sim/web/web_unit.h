#pragma once

#include "sim/unit/unit.h"
#include "sim/web/updating_process.h"
#include "sim/web/web_fault.h"
#include "sim/web/web_server.h"

#include <chrono>
#include <cstdint>
#include <optional>

namespace sim {

/// A running unit that takes firmware over the network: web server, updating process, and the reboot that
/// ends an update. A reboot ends server and daemon and starts them anew; the unit then answers with the hash
/// of what is in its flash.
class web_unit_t {
  public:
    using time_point_t = updating_process_t::time_point_t;

    struct manners_t {
        unsigned port = 0;                  ///< of 127.0.0.1; 0 takes a free one
        double bytes_per_second = 1 << 20;  ///< that the flash takes
        const web_fault_t* fault = nullptr;
    };

    /// @param unit  with its daemon running; must outlive this. Throws std::runtime_error when the server
    /// does
    ///              not start.
    web_unit_t(unit_t& unit, const manners_t& manners);

    /// Goes on as far as the time allows; to be called every few milliseconds. Blocks for the moment that the
    /// daemon takes to start after a reboot.
    void step();

    [[nodiscard]] const web_server_t& server() const { return server_; }
    /// Reboots so far.
    [[nodiscard]] int reboots() const { return reboots_; }
    /// When the fault first struck, of one that waits.
    [[nodiscard]] std::optional<time_point_t> struck() const { return struck_; }
    /// When the daemon was first seen to be gone while the unit was up; nothing while that never was.
    [[nodiscard]] std::optional<time_point_t> daemon_lost() const { return daemon_lost_; }

  private:
    enum class phase_e : std::uint8_t { up, about_to_reboot, down, gone };

    void watch_daemon(time_point_t now);
    void go_down(phase_e phase, time_point_t now);
    void come_up();
    void publish_firmware();

    unit_t& unit_;
    const web_fault_t* fault_;
    web_server_t server_;
    updating_process_t updating_;
    phase_e phase_ = phase_e::up;
    time_point_t since_;
    int reboots_ = 0;
    std::optional<time_point_t> struck_;
    std::optional<time_point_t> daemon_lost_;
};

}  // namespace sim
