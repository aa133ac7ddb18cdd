#include "firmware/uploader/uploader.h"

#include <algorithm>
#include <thread>

namespace firmware {

namespace {

// So long a cancellation may go unnoticed while there is nothing to do.
constexpr std::chrono::nanoseconds longest_pause = std::chrono::milliseconds{200};

}  // namespace

uploader_t::result_t uploader_t::push(const push_order_t& order, uploader_observer_intf_t& observer,
                                      bool& unsupported_hardware) {
    push_course_t course{order, observer, now()};
    for (;;) {
        const auto step = course.next(now());
        if (step.kind == push_step_t::kind_e::end) {
            break;
        }
        if (step.kind == push_step_t::kind_e::wait) {
            pause(std::min<std::chrono::nanoseconds>(step.until - now(), longest_pause));
            continue;
        }
        const auto answer =
            step.kind == push_step_t::kind_e::upload ? upload(observer) : request(std::string{step.path});
        course.answered(answer, now());
    }
    if (course.outcome() == push_outcome_e::unsupported_hardware) {
        unsupported_hardware = true;
    }
    return {course.outcome(), course.reason()};
}

uploader_t::time_point_t uploader_t::now() {
    return std::chrono::steady_clock::now();
}

void uploader_t::pause(std::chrono::nanoseconds time) {
    std::this_thread::sleep_for(time);
}

}  // namespace firmware
