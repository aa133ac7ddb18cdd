#pragma once

#include "sim/peers/engine.h"
#include "sim/root/unit_root.h"
#include "sim/web/web_fault.h"

#include <chrono>
#include <fstream>
#include <string>
#include <vector>

namespace sim {

/// The process that updates the unit's firmware: it finds an image that /cgi-bin/fw_upload has left,
/// validates it, writes it into the unit's flash at a given speed and publishes state, progress and detail.
/// What it does not do is reboot the unit.
class updating_process_t {
  public:
    using time_point_t = std::chrono::steady_clock::time_point;
    enum class news_e : std::uint8_t { none, written, fault_struck, power_failed };

    /// @param bytes_per_second  that the flash takes.
    /// @param fault             what is wrong, or null.
    updating_process_t(unit_root_t& root, engine_t& engine, double bytes_per_second,
                       const web_fault_t* fault);

    /// Goes on as far as the time allows.
    news_e step(time_point_t now);

    /// SHA-256 of what is in the flash, 64 hexadecimal digits.
    [[nodiscard]] std::string flash_hash() const;

  private:
    enum class phase_e : std::uint8_t { idle, validating, writing, standing_still };

    void take_image(time_point_t now);
    void validate(time_point_t now);
    news_e write(time_point_t now);
    void write_up_to(std::size_t offset);
    void publish(const std::string& state, int progress, const std::string& detail);
    void give_up(const std::string& why, int progress);

    unit_root_t& root_;
    engine_t& engine_;
    double bytes_per_second_;
    const web_fault_t* fault_;
    phase_e phase_ = phase_e::idle;
    time_point_t since_;
    std::string image_;
    std::size_t written_ = 0;
    int shown_ = -1;
};

}  // namespace sim
