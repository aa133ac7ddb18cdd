#pragma once

#include "sim/unit/faults.h"
#include "sim/unit/unit.h"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace sim {

/// The faults of a running unit: which are on, and when each began and ended, by the clock of what is played.
class troubles_t {
  public:
    using time_t = std::chrono::milliseconds;

    /// @param faults  those that the unit was built with or that a scenario is to bring on.
    troubles_t(unit_t& unit, const std::vector<const fault_t*>& faults);

    /// Lets the unit's faults begin after one third of a scenario and end after two.
    void follow(time_t now, time_t duration);
    void begin(const fault_t& fault, time_t now);
    void end(const fault_t& fault, time_t now);
    [[nodiscard]] bool is_on(const fault_t& fault) const;

    /// What of the unit worked all the time, and what works at the end.
    [[nodiscard]] works_t worked_throughout() const;
    [[nodiscard]] works_t works_at_the_end() const;
    /// A line for every fault: its name, and from when to when.
    [[nodiscard]] std::vector<std::string> account() const;

  private:
    struct trouble_t {
        const fault_t* fault;
        std::optional<time_t> began;
        std::optional<time_t> ended;
    };

    unit_t& unit_;
    std::vector<trouble_t> troubles_;
    int phase_ = 0;
};

/// "12.34 s"
[[nodiscard]] std::string seconds_text(std::chrono::milliseconds time);

}  // namespace sim
