#pragma once

#include "sim/unit/troubles.h"
#include "sim/unit/unit.h"

#include <termios.h>

#include <chrono>
#include <string>
#include <vector>

namespace sim {

/// A hand on a running unit by the keys of the terminal on standard input: states and percentages to publish,
/// faults to begin and end, buttons to press. Keys come without Enter and unseen while it exists.
class live_console_t {
  public:
    live_console_t(unit_t& unit, troubles_t& troubles);
    live_console_t(const live_console_t&) = delete;
    live_console_t& operator=(const live_console_t&) = delete;
    ~live_console_t();

    /// Does what the keys pressed meanwhile ask for; waits a moment for the first of them.
    /// @return false when it is to end.
    bool take_keys(std::chrono::milliseconds now);

    /// What the keys do, in lines for the bottom of the screen.
    [[nodiscard]] std::vector<std::string> help() const;

  private:
    bool act(char key, std::chrono::milliseconds now);
    void set(const char* property, const std::string& value);
    void add_percent(int change);
    void switch_fault(std::chrono::milliseconds now);
    void switch_button();
    [[nodiscard]] unsigned button_count() const;

    unit_t& unit_;
    troubles_t& troubles_;
    std::vector<const fault_t*> faults_;  ///< those that the unit can have and that begin and end
    std::size_t fault_ = 0;
    unsigned button_ = 0;
    bool pressed_ = false;
    termios settings_{};
};

}  // namespace sim
