#pragma once

#include "firmware/uploader/push_course.h"
#include "tools/fwpush/display.h"
#include "tools/fwpush/image.h"
#include "tools/fwpush/options.h"
#include "tools/fwpush/transfers.h"
#include "tools/fwpush/unit_address.h"
#include "tools/fwpush/unit_link.h"
#include "tools/fwpush/unit_view.h"

#include <csignal>
#include <deque>
#include <map>
#include <memory>
#include <vector>

namespace fwpush {

/// SIGINT and SIGTERM.
[[nodiscard]] sigset_t ending_signals();

/// When a unit's course begins, after the first one's: spread over a second, so that a thousand units do not
/// all answer in the same moment, ever after.
[[nodiscard]] std::chrono::milliseconds start_delay(std::size_t unit, std::size_t units);

/// All units at once: their courses, in one thread. Uploads are limited to the operator's number of jobs and
/// begin in the order in which the units are ready for them.
class fleet_t {
  public:
    /// @param image  null: only watch. It must outlive the fleet, as must `options`.
    fleet_t(const options_t& options, const image_t* image);
    fleet_t(const fleet_t&) = delete;
    fleet_t& operator=(const fleet_t&) = delete;
    ~fleet_t();

    /// Goes on until every unit has an outcome. A signal of `ending_signals`, which must be blocked, ends
    /// what is under way; the second one ends the process.
    /// @return whether every unit is complete or up to date.
    bool run();

  private:
    using time_point_t = transfers_t::time_point_t;

    /// One unit on its way.
    class member_t final : public firmware::uploader_observer_intf_t {
      public:
        member_t(fleet_t& fleet, const unit_address_t& address, time_point_t begins);

        /// Does the next steps, up to one that takes time.
        void advance();
        void start_upload();
        void cancel();
        [[nodiscard]] const unit_view_t& view() const { return view_; }
        [[nodiscard]] bool has_ended() const { return view_.outcome.has_value(); }
        void refuse(const std::string& reason);

        void report(firmware::push_stage_e stage, int value) override;
        bool cancelled() override { return false; }  // `cancel` ends the course at once

      private:
        void answered(const firmware::unit_answer_t& answer);
        void show();
        void finish();
        [[nodiscard]] const char* reason_of_cancelling() const;

        fleet_t& fleet_;
        unit_view_t view_;
        unit_view_t shown_;
        firmware::push_course_t course_;
        unit_link_t link_;
        bool is_uploading_ = false;
        bool was_sent_ = false;  ///< the unit has the whole image
    };

    void wake_sleepers();
    void start_uploads();
    void cancel();

    const options_t& options_;
    const image_t* image_;
    int signals_;
    transfers_t transfers_;
    std::vector<std::unique_ptr<member_t>> members_;
    std::unique_ptr<display_t> display_;
    std::multimap<time_point_t, member_t*> sleepers_;
    time_point_t wakes_again_;       // not before
    std::deque<member_t*> waiting_;  // for their turn to upload
    unsigned uploads_ = 0;
    std::size_t running_ = 0;  // units without an outcome
};

}  // namespace fwpush
