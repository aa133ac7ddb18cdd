#pragma once

#include "firmware/update_state.h"
#include "ipc/property_client.h"

#include <string>

namespace firmware {

/// Mirrors the update that another process on the unit carries out and publishes as three properties.
///
/// The values follow the properties as they come: no order of states is enforced, and progress and detail
/// outlive a change of state. Without a property engine they keep what they last were. Single-threaded use.
class updater_t {
  public:
    /// Connects to the property engine, creates the three properties, asks for their changes and for their
    /// present values. Whether any of it works shows only in what `poll` receives later.
    updater_t();
    updater_t(const updater_t&) = delete;
    updater_t& operator=(const updater_t&) = delete;

    /// The process's tracker, made by the first call and never destroyed.
    static updater_t& instance();

    /// What one poll takes at most. Many times what an updater sends in a pass, and a few milliseconds' work.
    static constexpr int most_a_poll = 2000;

    /// Applies the messages that the property engine has for us, up to `most_a_poll`; what is left then comes
    /// first the next time.
    /// @param timeout_ms  how long to wait for each; 0 takes what has arrived. In a steady pass nothing is
    ///                    allocated.
    /// @return whether there was any message.
    bool poll(int timeout_ms);

    [[nodiscard]] update_state_e state() const { return state_; }
    /// Percent done, 0 to 100; -1 while unknown.
    [[nodiscard]] int progress() const { return progress_; }
    /// Free text of the updating process, as it came.
    [[nodiscard]] const std::string& detail() const { return detail_; }

    /// The names of the present state, see firmware/update_state.h.
    [[nodiscard]] std::string state_name() const;
    [[nodiscard]] std::string state_display_name() const;

  private:
    struct message_t {
        std::string type;
        std::string path;
        std::string value;
    };

    void apply(const message_t& message);

    zel::property_client_t client_;
    update_state_e state_ = update_state_e::idle;
    int progress_ = -1;
    std::string detail_;
    message_t message_;  // kept for its capacity
};

}  // namespace firmware
