#pragma once

#include "sim/peers/engine.h"
#include "sim/peers/notification_service.h"
#include "sim/peers/serial_module.h"
#include "sim/root/unit_definition.h"
#include "sim/root/unit_root.h"
#include "sim/unit/daemon_process.h"
#include "sim/unit/status_watcher.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

/// A simulated unit with everything that a daemon finds on a real one: its files, its property engine and
/// notification service, the serial display module, and the daemon itself. All of it goes with the object.
///
///     auto unit = sim::unit_builder_t{"card-frame"}.without_notification_service().start();
///     unit->engine().set("/sys/fw_status/state", "fw_write");
///     unit->run_passes(2);
///     EXPECT_EQ(unit->status().element("state"), "fw_write");
class unit_t {
  public:
    unit_t(const unit_definition_t& definition, serial_manners_t serial_manners);

    [[nodiscard]] const unit_definition_t& definition() const { return root_.definition(); }
    [[nodiscard]] unit_root_t& root() { return root_; }
    [[nodiscard]] engine_t& engine() { return engine_; }
    [[nodiscard]] notification_service_t& notifications() { return notifications_; }
    [[nodiscard]] status_watcher_t& status() { return *status_; }
    [[nodiscard]] daemon_process_t& daemon() { return daemon_; }
    /// Null on a unit without a serial panel.
    [[nodiscard]] serial_module_t* serial_module() { return serial_module_.get(); }

    /// Starts the daemon's simulation build on this unit, every logger at level trace.
    /// @param wrapper  a program that runs the daemon, with its arguments, such as strace.
    /// @return the exit status of the starting process, see `daemon_process_t::start`.
    int start_daemon(const std::vector<std::string>& wrapper = {});

    /// Waits for the daemon to make so many more passes; false when it does not.
    bool run_passes(int count, std::chrono::milliseconds patience = std::chrono::seconds{20});

    /// What the daemon has logged so far, and what it has printed.
    [[nodiscard]] std::string log() const;
    [[nodiscard]] std::string console() const;

  private:
    unit_root_t root_;
    engine_t engine_;
    notification_service_t notifications_;
    std::unique_ptr<serial_module_t> serial_module_;
    std::unique_ptr<status_watcher_t> status_;
    daemon_process_t daemon_;
};

/// Puts a unit together. Everything that the kind of unit has runs, unless it is left out here.
class unit_builder_t {
  public:
    /// @param kind  name of a unit definition. Throws std::runtime_error when there is none of that name.
    explicit unit_builder_t(std::string_view kind);
    explicit unit_builder_t(const unit_definition_t& definition) : definition_{definition} {}

    unit_builder_t& without_engine();
    unit_builder_t& without_notification_service();
    unit_builder_t& without_daemon();
    unit_builder_t& with_serial_manners(serial_manners_t manners);
    /// For a unit that is out of the ordinary.
    [[nodiscard]] unit_definition_t& definition() { return definition_; }
    /// What is done to the unit after its files and services are there and before the daemon starts.
    unit_builder_t& prepared_by(std::function<void(unit_t&)> preparation);

    /// Builds and starts it all. Throws std::runtime_error, with what the daemon printed, when the daemon
    /// does not come up.
    [[nodiscard]] std::unique_ptr<unit_t> start();

  private:
    unit_definition_t definition_;
    serial_manners_t serial_manners_;
    bool with_engine_ = true;
    bool with_notifications_ = true;
    bool with_daemon_ = true;
    std::vector<std::function<void(unit_t&)>> preparations_;
};

/// Lets an engine answer for a unit's identity.
void publish_identity(engine_t& engine, const unit_properties_t& properties);

/// Waits until `condition` holds, looking every few milliseconds; false when it never did.
[[nodiscard]] bool wait_until(const std::function<bool()>& condition,
                              std::chrono::milliseconds patience = std::chrono::seconds{20});

}  // namespace sim
