#pragma once

#include "firmware/uploader/push_course.h"

#include <chrono>
#include <string>

namespace firmware {

/// Pushes an image to one unit and follows the update there, for callers who can wait: how the unit is
/// reached is left to a derived class. A caller with many units drives a `push_course_t` for each of them
/// instead.
class uploader_t {
  public:
    struct result_t {
        push_outcome_e outcome = push_outcome_e::lost;
        std::string reason;  ///< for people; may quote the unit
    };

    virtual ~uploader_t() = default;

    /// Does all that the order says. Blocks until the update has ended, or until `observer` cancels.
    /// @param unsupported_hardware  set to true when the unit says that the image is not for its hardware,
    /// and
    ///                              left alone otherwise.
    result_t push(const push_order_t& order, uploader_observer_intf_t& observer, bool& unsupported_hardware);

  protected:
    using time_point_t = push_course_t::time_point_t;

    /// Gets a page of the unit; blocks no longer than the derived class finds bearable.
    virtual unit_answer_t request(const std::string& path) = 0;
    /// Sends the image and returns the unit's answer. Reports the percentage sent, if it knows it, and asks
    /// whether to stop.
    virtual unit_answer_t upload(uploader_observer_intf_t& observer) = 0;

    /// The time, and waiting for it: real ones unless a derived class has others.
    virtual time_point_t now();
    virtual void pause(std::chrono::nanoseconds time);
};

}  // namespace firmware
