#include "daemon/status_reporter.h"

#include "daemon/decimal.h"
#include "platform/paths.h"
#include "platform/system_path.h"

#include <string>
#include <utility>

namespace firmware {

namespace {

// "/usr/zel/www/fw_status.xml"
std::string status_path() {
    return zel::system_path(std::string{zel::paths::www_directory} + "fw_status.xml");
}

// A client whose connection failed is of no use: nobody tries again.
std::unique_ptr<zel::unix_stream_socket_t> connect_notifications() {
    auto client = std::make_unique<zel::unix_stream_socket_t>(std::string{zel::paths::notification_service});
    return client->connect() ? std::move(client) : nullptr;
}

}  // namespace

status_reporter_t& status_reporter_t::instance() {
    static auto& reporter = *new status_reporter_t;
    return reporter;
}

// In this order: the display is probed with the tracker already subscribed, so that no change is missed while
// a slow panel comes up.
status_reporter_t::status_reporter_t()
    : updater_{updater_t::instance()}, status_file_{status_path()},
      display_mode_{probe_display()}, ipc_{connect_notifications()} {}

void status_reporter_t::service(int timeout_ms) {
    updater_.poll(timeout_ms);
    write_status_file();
    update_display();
    notify_ipc();
    last_state_ = updater_.state();
}

void status_reporter_t::write_status_file() {
    status_file_.write(machine_name(updater_.state()), updater_.progress(), updater_.detail());
}

void status_reporter_t::update_display() {
    show_status(display_mode_, display_name(updater_.state()), updater_.progress(), updater_.detail());
}

void status_reporter_t::notify_ipc() {
    if (!ipc_ || updater_.state() == update_state_e::idle) {
        return;
    }
    if (last_state_ == update_state_e::idle) {
        notify("fw_update_begin");
    }
    text_.assign("fw_update_state ").append(display_name(updater_.state()));
    notify(text_);
    text_.assign("fw_update_progress ");
    append_decimal(text_, updater_.progress());
    notify(text_);
}

void status_reporter_t::notify(std::string_view text) {
    ipc_->send(text.data(), text.size());
}

}  // namespace firmware
