#include "tests/golden.h"
#include "tools/fwpush/display.h"

#include <gtest/gtest.h>

#include <deque>
#include <string>

namespace {

using namespace std::chrono_literals;
using firmware::push_outcome_e;
using firmware::push_stage_e;
using fwpush::display_t;
using fwpush::unit_view_t;

constexpr display_t::time_point_t begin{100s};

/// Units that begin one after the other, a second between them.
class units_t {
  public:
    unit_view_t& add(const std::string& name, push_stage_e stage, int value, const std::string& detail = "") {
        auto& unit = units_.emplace_back();
        unit.name = name;
        unit.begun = begin + 1s * static_cast<int>(units_.size());
        change(unit, stage, value, detail);
        return unit;
    }
    static void change(unit_view_t& unit, push_stage_e stage, int value, const std::string& detail) {
        unit.stage = stage;
        unit.value = value;
        unit.detail = detail;
    }
    static void end(unit_view_t& unit, push_outcome_e outcome, std::chrono::seconds after,
                    const std::string& reason = "") {
        unit.outcome = outcome;
        unit.ended = unit.begun + after;
        unit.reason = reason;
    }
    [[nodiscard]] std::vector<const unit_view_t*> views() const {
        std::vector<const unit_view_t*> result;
        for (const auto& unit : units_) {
            result.push_back(&unit);
        }
        return result;
    }
    unit_view_t& operator[](std::size_t i) { return units_[i]; }

  private:
    std::deque<unit_view_t> units_;
};

void expect_printed(const std::string& golden) {
    auto text = testing::internal::GetCapturedStdout();
    for (std::size_t at = 0; (at = text.find('\x1b', at)) != std::string::npos;) {
        text.replace(at, 1, "ESC");
    }
    EXPECT_EQ(text, tests::golden_text(golden, text));
}

TEST(display, logs_stages_and_every_tenth_percent_but_not_more_than_a_second_each) {
    units_t units;
    auto& one = units.add("10.0.0.7", push_stage_e::preparing, -1);
    auto& other = units.add("a-unit-with-a-long-name.studio.example", push_stage_e::preparing, -1);
    testing::internal::CaptureStdout();
    const auto log = fwpush::make_log(begin);
    log->changed(one, begin);
    log->changed(one, begin + 5s);
    log->redraw(begin + 5s);
    const struct {
        push_stage_e stage;
        int value;
        const char* detail;
        std::chrono::milliseconds at;
    } steps[]{{push_stage_e::uploading, 0, "", 6000ms},       {push_stage_e::uploading, 9, "", 7500ms},
              {push_stage_e::uploading, 10, "", 7600ms},      {push_stage_e::uploading, 20, "", 8599ms},
              {push_stage_e::uploading, 29, "", 8600ms},      {push_stage_e::writing, 30, "", 8610ms},
              {push_stage_e::writing, 40, "Block 4", 9609ms}, {push_stage_e::writing, 40, "Block 4", 9610ms}};
    for (const auto& [stage, value, detail, at] : steps) {
        units_t::change(one, stage, value, detail);
        log->changed(one, begin + at);
    }
    other.is_waiting = true;
    log->changed(other, begin + 9610ms);
    units_t::end(one, push_outcome_e::complete, 125s);
    log->ended(one, begin + 126s);
    units_t::end(other, push_outcome_e::error, 0s, "it reports: \"D\"");
    log->ended(other, begin + 127s);
    log->finish(units.views(), begin + 200s);
    expect_printed("log.txt");
}

TEST(display, prints_an_object_a_line_and_sums_up_one_unit) {
    units_t units;
    auto& unit = units.add("10.0.0.7", push_stage_e::writing, 42, "Bl\"ock\\ ä");
    testing::internal::CaptureStdout();
    const auto all = fwpush::make_json(true);
    const auto ends = fwpush::make_json(false);
    all->changed(unit, begin);
    ends->changed(unit, begin);
    units_t::end(unit, push_outcome_e::lost, 59s, "gone");
    all->ended(unit, begin);
    ends->ended(unit, begin);
    all->finish(units.views(), begin);
    fwpush::print_summary(units.views(), begin);
    expect_printed("objects.txt");
}

TEST(display, draws_bars_anew_in_place) {
    units_t units;
    units.add("10.0.0.7", push_stage_e::writing, 34, "Block 4 of 9 " + std::string(80, '.'));
    units.add("a-name-of-more-than-24-chäracters", push_stage_e::uploading, 4);
    units.add("ä", push_stage_e::preparing, -1, "connection refused");
    testing::internal::CaptureStdout();
    const auto bars = fwpush::make_bars(units.views());
    bars->changed(units[0], begin);
    bars->redraw(begin + 90s);
    bars->redraw(begin + 90s + 149ms);
    units_t::change(units[0], push_stage_e::writing, 101, "");
    units[2].is_waiting = true;
    bars->redraw(begin + 90s + 150ms);
    units_t::end(units[0], push_outcome_e::complete, 60'000s);
    units_t::end(units[1], push_outcome_e::unsupported_hardware, 1s, "it is not for its hardware");
    units_t::end(units[2], push_outcome_e::up_to_date, 0s);
    bars->ended(units[0], begin);
    bars->finish(units.views(), begin + 60'000s);
    expect_printed("bars.txt");
}

TEST(display, shows_those_units_first_that_are_at_work_where_not_all_fit) {
    units_t units;
    for (int i = 0; i < 23; ++i) {
        units.add("unit-" + std::to_string(i), push_stage_e::preparing, -1);
    }
    testing::internal::CaptureStdout();
    fwpush::make_bars(units.views())->redraw(begin + 90s);
    units.add("unit-23", push_stage_e::writing, 0);
    units_t::change(units[3], push_stage_e::writing, 100, "");
    units[4].is_waiting = true;
    for (std::size_t i = 5; i < 20; ++i) {
        units_t::end(units[i], i < 18 ? push_outcome_e::complete : push_outcome_e::busy, 1s);
    }
    units_t::change(units[20], push_stage_e::uploading, 50, "");
    units[20].is_waiting = true;
    const auto bars = fwpush::make_bars(units.views());
    bars->redraw(begin + 90s);
    bars->finish({}, begin + 90s);
    expect_printed("many_bars.txt");
}

}  // namespace
