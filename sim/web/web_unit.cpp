#include "sim/web/web_unit.h"

#include "platform/paths.h"

#include <string>

namespace sim {

namespace {

using namespace std::chrono_literals;

constexpr auto farewell = 2500ms;  // from "complete" to the reboot
constexpr auto absence = 1500ms;   // from the reboot to the next daemon

}  // namespace

web_unit_t::web_unit_t(unit_t& unit, const manners_t& manners)
    : unit_{unit}, fault_{manners.fault}, server_{unit.root().path(), manners.port},
      updating_{unit.root(), unit.engine(), manners.bytes_per_second, manners.fault} {
    if (fault_ != nullptr) {
        unit_.root().write_file("/sim/web_fault", fault_->name);
        server_.offer_upload(fault_->has_upload_page);
    }
    publish_firmware();
    server_.start();
}

void web_unit_t::publish_firmware() {
    unit_.engine().set("/sys/config/firmware_hash", updating_.flash_hash());
    unit_.engine().set("/sys/config/firmware_id",
                       std::string{unit_.definition().name} + " build " + std::to_string(reboots_ + 1));
    unit_.engine().set("/sys/config/fw_compat", "4");
}

void web_unit_t::step() {
    const auto now = std::chrono::steady_clock::now();
    watch_daemon(now);
    switch (phase_) {
    case phase_e::up: {
        const auto news = updating_.step(now);
        if (news == updating_process_t::news_e::written) {
            phase_ = phase_e::about_to_reboot;
            since_ = now;
        } else if (news == updating_process_t::news_e::power_failed) {
            go_down(phase_e::gone, now);
        } else if (news == updating_process_t::news_e::fault_struck && !struck_) {
            struck_ = now;
        }
        break;
    }
    case phase_e::about_to_reboot:
        if (now - since_ >= farewell) {
            go_down(fault_ == nullptr || fault_->returns ? phase_e::down : phase_e::gone, now);
        }
        break;
    case phase_e::down:
        if (now - since_ >= absence) {
            come_up();
        }
        break;
    case phase_e::gone:
        break;
    }
}

void web_unit_t::watch_daemon(time_point_t now) {
    const bool is_up = phase_ == phase_e::up || phase_ == phase_e::about_to_reboot;
    if (is_up && !daemon_lost_ && !unit_.daemon().is_running()) {
        daemon_lost_ = now;
    }
}

void web_unit_t::go_down(phase_e phase, time_point_t now) {
    if (phase == phase_e::gone) {
        struck_ = now;
    }
    server_.kill();
    unit_.daemon().kill();
    unit_.root().remove_file(std::string{zel::paths::www_directory} + "fw_status.xml");
    unit_.engine().set("/sys/fw_status/state", "idle");
    unit_.engine().set("/sys/fw_status/progress", "-1");
    unit_.engine().set("/sys/fw_status/detail", "");
    phase_ = phase;
    since_ = now;
}

void web_unit_t::come_up() {
    ++reboots_;
    publish_firmware();
    unit_.start_daemon();
    server_.start();
    phase_ = phase_e::up;
}

}  // namespace sim
