#pragma once

#include "daemon/display.h"
#include "daemon/status_file.h"
#include "firmware/updater.h"
#include "ipc/unix_stream_socket.h"

#include <memory>
#include <string>
#include <string_view>

namespace firmware {

/// Publishes the state of a firmware update three ways, once per service pass: in the status file, on the
/// unit's display, and as texts for the notification service.
class status_reporter_t {
  public:
    /// The process's reporter, constructed on the first call and never destroyed. Construction connects to
    /// the property engine, finds the display and connects to the notification service; each of the three may
    /// be missing for the rest of the process's life. The first call blocks as long as the display's bring-up
    /// takes (daemon/display.h) and lets what a driver throws pass.
    [[nodiscard]] static status_reporter_t& instance();

    /// One pass: takes what the tracker has to tell and publishes it.
    /// @param timeout_ms  how long to wait for news, in milliseconds; 0 takes only what is there.
    void service(int timeout_ms);

    /// Rewrites the file that the unit's web server serves; a file that cannot be written is left for the
    /// next pass.
    void write_status_file();
    /// Shows the update on the display that was found; drawing that fails is left for the next pass.
    void update_display();
    /// Sends nothing while no update is active. Otherwise state and progress go out on every pass, as a level
    /// and not as events, with nothing between the texts; a text that cannot go out at once is lost.
    void notify_ipc();

  private:
    status_reporter_t();

    void notify(std::string_view text);

    updater_t& updater_;
    status_file_t status_file_;
    display_mode_e display_mode_ = display_mode_e::none;
    std::unique_ptr<zel::unix_stream_socket_t> ipc_;
    std::string text_;  // kept for its capacity
    update_state_e last_state_ = update_state_e::idle;
};

}  // namespace firmware
