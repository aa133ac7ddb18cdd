#pragma once

#include "firmware/uploader/push_stage.h"
#include "firmware/uploader/status_answer.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace firmware {

/// Who follows the pushing of an image to one unit.
class uploader_observer_intf_t {
  public:
    virtual ~uploader_observer_intf_t() = default;
    /// @param value  percent of the stage, -1 while unknown. Called again for the same stage and value.
    virtual void report(push_stage_e stage, int value) = 0;
    /// Whether to stop. Asked before and after every operation.
    [[nodiscard]] virtual bool cancelled() = 0;
};

/// What came of asking a unit, or of sending it an image.
struct unit_answer_t {
    enum class fault_e : std::uint8_t {
        none,      ///< there is a whole answer
        passing,   ///< there is none, which may be different the next time
        hopeless,  ///< there is none, and asking again will not help: no such name, a wrong certificate.
                   ///< Of a unit that has answered before it is a passing one: names come and go with it
        given_up,  ///< this side could not go on, for example because the image changed
    };

    long code = 0;     ///< HTTP status, when there is an answer
    std::string text;  ///< the answer's body, or what went wrong
    fault_e fault = fault_e::none;
};

/// What is to be done with a unit.
struct push_order_t {
    std::string image_hash;                ///< hexadecimal; empty: send nothing, only watch
    bool force = false;                    ///< send the image also to a unit that has it
    unsigned min_compat{};                 ///< send nothing to a unit with a lower compatibility number
    std::chrono::milliseconds patience{};  ///< without a useful answer for so long, the unit is lost
    /// How long a unit that took an image may stay idle, or show how an earlier update ended, before that
    /// counts. While only watching: how long it may be idle.
    std::chrono::milliseconds grace{};
    bool await_return = false;  ///< after "complete", wait until the unit is back and runs the image
    /// An update that shows the same state and percentage for so long has failed; zero: it never has.
    std::chrono::milliseconds stall{};
};

/// What to do next on the way of an image to a unit.
struct push_step_t {
    enum class kind_e : std::uint8_t {
        request,  ///< get `path` from the unit, and tell the course what it answered
        upload,   ///< send the image, and tell the course what it answered
        wait,     ///< do nothing until `until`, then ask for the next step
        end,      ///< it is over
    };

    kind_e kind = kind_e::end;
    std::string_view path{};  ///< of static storage
    std::chrono::steady_clock::time_point until{};
};

/// The course of one push, step by step, for callers who do the steps in their own time: it does nothing by
/// itself, and knows the time only from its callers.
///
///     while ((step = course.next(now())).kind != end) { ...do it...; course.answered(answer, now()); }
///
/// It asks the unit for its hash, identity and compatibility, has the image uploaded, and follows the unit's
/// status file once a second. An answer that is of no use is asked for again until patience is up. Only what
/// the unit says in state and progress counts; the detail is for people. Where the unit had the image
/// already, its hash proves nothing: it must be seen to leave idle after the upload. A unit that is only
/// watched is asked for its hash once it is at work: when it goes idle and nobody saw it complete, another
/// hash is success.
class push_course_t {
  public:
    using time_point_t = std::chrono::steady_clock::time_point;

    /// @param observer  must outlive the course.
    push_course_t(push_order_t order, uploader_observer_intf_t& observer, time_point_t now);

    /// The next step. Until a request or an upload has been answered, it is this same one.
    [[nodiscard]] push_step_t next(time_point_t now);
    /// What came of the request or upload that `next` asked for.
    void answered(const unit_answer_t& answer, time_point_t now);
    /// Ends the course, whatever is under way.
    void end(push_outcome_e outcome, std::string reason);

    [[nodiscard]] bool has_ended() const { return phase_ == phase_e::ended; }
    /// Once it has ended.
    [[nodiscard]] push_outcome_e outcome() const { return outcome_; }
    /// Why it ended so, or why the last answer was of no use; a text for people that may quote the unit.
    [[nodiscard]] const std::string& reason() const { return reason_; }
    /// What the unit last said of itself, as it came.
    [[nodiscard]] const std::string& detail() const { return status_.detail; }
    [[nodiscard]] const std::string& firmware_id() const { return firmware_id_; }

  private:
    enum class phase_e : std::uint8_t { hash, id, compat, upload, watch, note, reboot, verify, ended };

    [[nodiscard]] bool only_watches() const { return order_.image_hash.empty(); }
    void go_on_with(phase_e phase, time_point_t now);
    void ask_again(std::string reason, time_point_t now);
    [[nodiscard]] bool settle_without_page(const unit_answer_t& answer, time_point_t now);
    void refuse_user(const unit_answer_t& answer);
    void compare_hash(const unit_answer_t& answer, time_point_t now);
    void check_compat(const unit_answer_t& answer, time_point_t now);
    void examine_upload(const unit_answer_t& answer, time_point_t now);
    [[nodiscard]] bool read_status(const unit_answer_t& answer, time_point_t now);
    void examine_status(const unit_answer_t& answer, time_point_t now);
    void check_stall(time_point_t now);
    void note_hash(const unit_answer_t& answer, time_point_t now);
    void watch_ends(time_point_t now);
    void await_idle(const unit_answer_t& answer, time_point_t now);
    void verify(const unit_answer_t& answer, time_point_t now);

    push_order_t order_;
    uploader_observer_intf_t& observer_;
    phase_e phase_;
    time_point_t asked_at_;
    time_point_t not_before_;
    time_point_t last_useful_;
    time_point_t grace_ends_;
    time_point_t changed_at_;
    status_answer_t status_;      // as the status file said last
    bool has_answered_ = false;   // the unit, to anything
    bool had_image_{};            // before it was sent
    bool has_left_idle_ = false;  // the unit was seen in another state
    bool has_moved_ = false;      // the unit was seen at work
    bool was_complete_{};         // and said that it is done
    bool page_missing_ = false;   // the last answer was that there is no such page
    push_outcome_e outcome_ = push_outcome_e::lost;
    std::string reason_;
    std::string firmware_id_;
    std::string hash_before_;  // a watched unit's, while it was updated; empty when it is not known
};

}  // namespace firmware
