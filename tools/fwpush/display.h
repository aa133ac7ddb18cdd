#pragma once

#include "tools/fwpush/options.h"
#include "tools/fwpush/unit_view.h"

#include <chrono>
#include <memory>
#include <vector>

namespace fwpush {

/// What shows the operator how far the units are.
class display_t {
  public:
    using time_point_t = std::chrono::steady_clock::time_point;

    virtual ~display_t() = default;
    /// Something of what the view holds is new.
    virtual void changed(const unit_view_t& unit, time_point_t now) = 0;
    /// The unit's outcome is known; it changes no more.
    virtual void ended(const unit_view_t& unit, time_point_t now) = 0;
    /// Called several times a second.
    virtual void redraw(time_point_t /*now*/) {}
    /// Everything has ended. @param units  in the order in which they were named.
    virtual void finish(const std::vector<const unit_view_t*>& units, time_point_t now) = 0;
};

/// The display that the options and standard output call for: bars on a terminal, otherwise a log; one JSON
/// object a line; without progress nothing but the summary, or the objects of the outcomes.
/// @param units  all of them, in the order in which they were named; must outlive the display.
[[nodiscard]] std::unique_ptr<display_t>
make_display(const options_t& options, std::vector<const unit_view_t*> units, display_t::time_point_t now);

/// Bars on a terminal that are drawn anew in place; as many units as the terminal has lines for.
[[nodiscard]] std::unique_ptr<display_t> make_bars(std::vector<const unit_view_t*> units);
/// A line for every new stage and every tenth percent.
[[nodiscard]] std::unique_ptr<display_t> make_log(display_t::time_point_t now);
/// An object a line for every event, or for the outcomes alone.
[[nodiscard]] std::unique_ptr<display_t> make_json(bool with_progress);

/// Prints a table of all outcomes, and how many there are of each.
void print_summary(const std::vector<const unit_view_t*>& units, display_t::time_point_t now);

}  // namespace fwpush
