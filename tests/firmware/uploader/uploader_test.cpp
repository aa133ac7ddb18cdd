#include "firmware/uploader/uploader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace std::chrono_literals;
using firmware::push_course_t;
using firmware::push_outcome_e;
using firmware::push_stage_e;
using firmware::push_step_t;
using firmware::unit_answer_t;
using fault_e = unit_answer_t::fault_e;

constexpr const char* status_path = "/fw_status.xml";
constexpr const char* hash_path = "/cgi-bin/hw_config?firmware_hash";
const unit_answer_t no_answer{0, "connection refused", fault_e::passing};

unit_answer_t status(const std::string& state, int progress = 0) {
    return {200, "<status><state>" + state + "</state><progress>" + std::to_string(progress) +
                     "</progress><detail>D</detail></status>"};
}

/// Answers each path from a script, its last answer again and again, on a clock of its own. Only the image
/// takes time: a minute.
class scripted_unit_t : public firmware::uploader_t, public firmware::uploader_observer_intf_t {
  public:
    std::map<std::string, std::deque<unit_answer_t>> answers{
        {hash_path, {{200, "0a0a\n"}}},
        {"/cgi-bin/hw_config?firmware_id", {{200, "base 1.0"}}},
        {"/cgi-bin/hw_config?fw_compat", {{200, " 4\r\n"}}},
        {"upload", {{200, "Started\n"}}},
        {status_path, {status("initializing"), status("fw_write", 50), status("complete", 100)}}};
    firmware::push_order_t order{.image_hash = "ABCD", .patience = 10s, .grace = 5s};
    std::vector<std::string> asked;
    std::string reports;
    std::size_t cancel_after = 1000;  // operations
    time_point_t time{1000s};
    time_point_t watched_from = time;
    std::chrono::nanoseconds longest_pause{};
    int looks = 0;
    bool unsupported = false;
    std::string reason;

    push_outcome_e run() {
        const auto result = push(order, *this, unsupported);
        reason = result.reason;
        return result.outcome;
    }
    void report(push_stage_e stage, int value) override {
        reports += std::to_string(static_cast<int>(stage)) + ":" + std::to_string(value) + " ";
    }
    bool cancelled() override { return asked.size() >= cancel_after; }
    [[nodiscard]] auto seconds() const {
        return std::chrono::duration_cast<std::chrono::seconds>(time - watched_from).count();
    }

  private:
    unit_answer_t request(const std::string& path) override {
        asked.push_back(path);
        auto& script = answers.at(path);
        auto answer = script.front();
        if (script.size() > 1) {
            script.pop_front();
        }
        return answer;
    }
    unit_answer_t upload(firmware::uploader_observer_intf_t& /*observer*/) override {
        time += 60s;
        watched_from = time;
        return request("upload");
    }
    time_point_t now() override {
        if (++looks > 50'000) {
            throw std::logic_error{"it does not end"};
        }
        return time;
    }
    void pause(std::chrono::nanoseconds length) override {
        time += length;
        longest_pause = std::max(longest_pause, length);
    }
};

TEST(uploader, asks_uploads_and_watches_once_a_second) {
    scripted_unit_t unit;
    unit.order.min_compat = 4;
    EXPECT_EQ(unit.run(), push_outcome_e::complete);
    EXPECT_EQ(unit.asked, (std::vector<std::string>{hash_path, "/cgi-bin/hw_config?firmware_id",
                                                    "/cgi-bin/hw_config?fw_compat", "upload", status_path,
                                                    status_path, status_path}));
    EXPECT_EQ(unit.reports, "0:-1 1:0 0:0 3:50 4:100 ");
    EXPECT_EQ(unit.seconds(), 2);
    EXPECT_EQ(unit.longest_pause, 200ms) << "so long it may not notice that it is cancelled";
    EXPECT_FALSE(unit.unsupported);
}

TEST(uploader, has_a_clock_and_waits_by_it) {
    struct : firmware::uploader_t {
        using uploader_t::now;
        using uploader_t::pause;
        unit_answer_t request(const std::string& /*path*/) override { return {}; }
        unit_answer_t upload(firmware::uploader_observer_intf_t& /*observer*/) override { return {}; }
    } unit;
    const auto before = std::chrono::steady_clock::now();
    unit.pause(2ms);
    EXPECT_GE(unit.now() - before, 2ms);
    EXPECT_LT(unit.now() - before, 60s);
}

TEST(push_course, tells_why_the_last_answer_was_of_no_use_until_one_is) {
    scripted_unit_t observer;
    const push_course_t::time_point_t begin{1000s};
    push_course_t course{{.image_hash = "ABCD", .patience = 3s}, observer, begin};
    auto step = course.next(begin - 1ms);
    EXPECT_EQ(step.kind, push_step_t::kind_e::wait);
    EXPECT_EQ(step.until, begin);
    auto now = begin;
    std::string seen;
    for (const auto& answer : {no_answer,
                               {500, ""},
                               {200, ""},
                               no_answer,
                               no_answer,
                               {200, " base 1.0\n"},
                               {200, "0"},
                               {200, "Started"},
                               no_answer,
                               status("fw_write", 7)}) {
        step = course.next(now);
        course.answered(answer, now);
        seen += std::string{step.path.substr(step.path.find('?') + 1)} + ": " + course.reason() + "\n";
        now += 1s;
    }
    EXPECT_EQ(
        seen,
        "firmware_hash: connection refused\nfirmware_hash: it answered with status 500\nfirmware_hash: \n"
        "firmware_id: connection refused\nfirmware_id: connection refused\nfirmware_id: \nfw_compat: \n: \n"
        "/fw_status.xml: connection refused\n/fw_status.xml: \n");
    EXPECT_EQ(course.firmware_id() + course.detail(), "base 1.0D");
    course.end(push_outcome_e::cancelled, "enough");
    course.answered(status("error"), now);
    EXPECT_EQ(course.next(now).kind, push_step_t::kind_e::end);
    EXPECT_EQ(course.reason(), "enough");
}

TEST(push_stage, has_a_word_for_whatever_a_unit_is_at) {
    std::string words;
    for (const auto* const state :
         {"idle", "initializing", "validate", "fw_write", "fpga_write", "complete", "error"}) {
        words += std::string{name_of(firmware::stage_of(state))} + " ";
    }
    EXPECT_EQ(words, "preparing preparing validating writing writing complete error ");
    EXPECT_EQ(static_cast<int>(firmware::stage_of("validate")), 2);
    EXPECT_EQ(name_of(push_stage_e::uploading), "uploading");
}

TEST(uploader, sends_nothing_to_a_unit_that_should_not_have_it) {
    const auto outcome_of = [](const std::string& path, const unit_answer_t& answer) {
        scripted_unit_t unit;
        unit.order.min_compat = 4;
        unit.answers[path] = {answer};
        const auto outcome = unit.run();
        EXPECT_EQ(std::count(unit.asked.begin(), unit.asked.end(), "upload"), 0) << answer.text;
        return std::string{name_of(outcome)} + ": " + unit.reason;
    };
    EXPECT_EQ(outcome_of(hash_path, {200, "abcd"}), "up_to_date: it has this firmware");
    EXPECT_EQ(outcome_of(hash_path, {200, "<html>"}), "refused: its firmware hash is none: \"<html>\"");
    EXPECT_EQ(outcome_of(hash_path, {200, "\r\n not a hash\t\r\n<html>"}),
              "refused: its firmware hash is none: \"not a hash\"");
    EXPECT_EQ(outcome_of(hash_path, {200, std::string(80, 'x')}),
              "refused: its firmware hash is none: \"" + std::string(80, 'x') + '"');
    EXPECT_EQ(outcome_of(hash_path, {200, std::string(81, 'x')}),
              "refused: its firmware hash is none: \"" + std::string(80, 'x') + "...\"");
    EXPECT_EQ(outcome_of(hash_path, {500, ""}), "lost: it answered with status 500");
    EXPECT_EQ(outcome_of(hash_path, {403, ""}), "refused: it wants another user or password (403)");
    EXPECT_EQ(outcome_of(hash_path, {404, ""}), "not_found: it has no page /cgi-bin/hw_config (404)");
    EXPECT_EQ(outcome_of(hash_path, {401, ""}), "refused: it wants another user or password (401)");
    EXPECT_EQ(outcome_of(hash_path, {0, "no such name", fault_e::hopeless}), "lost: no such name");
    EXPECT_EQ(outcome_of("/cgi-bin/hw_config?firmware_id", no_answer), "lost: connection refused");
    EXPECT_EQ(outcome_of("/cgi-bin/hw_config?fw_compat", {200, "3"}),
              "refused: its compatibility 3 is below 4");
    for (const std::string compat : {"-1", "4294967296", "", "4x", "four"}) {
        EXPECT_EQ(outcome_of("/cgi-bin/hw_config?fw_compat", {200, compat}),
                  "refused: its compatibility is no unsigned number: \"" + compat + '"');
    }
}

TEST(uploader, believes_a_unit_that_had_the_image_only_what_it_is_seen_to_do) {
    const auto run = [](std::deque<unit_answer_t> statuses, bool await_return = false) {
        scripted_unit_t unit;
        unit.order.force = true;
        unit.order.await_return = await_return;
        unit.answers[hash_path] = {{200, "abcd"}};
        unit.answers[status_path] = std::move(statuses);
        const auto outcome = unit.run();
        EXPECT_EQ(std::count(unit.asked.begin(), unit.asked.end(), "upload"), 1);
        return std::string{name_of(outcome)} + " " + std::to_string(unit.seconds()) + " " + unit.reason;
    };
    const auto idle = status("idle");
    const auto writing = status("fw_write", 1);
    const auto complete = status("complete");
    EXPECT_EQ(run({idle}), "error 5 it took the image, which it had already, and was not seen to write it");
    EXPECT_EQ(run({idle, writing, complete}), "complete 2 ");
    EXPECT_EQ(run({writing, no_answer, idle}), "complete 2 ");
    EXPECT_EQ(run({writing, complete, complete, no_answer, idle}, true), "complete 3 ");
    EXPECT_EQ(run({writing, complete}, true), "lost 11 it has not rebooted yet");
    EXPECT_EQ(run({writing, complete, no_answer}, true), "lost 11 connection refused");
}

TEST(uploader, examines_what_the_unit_makes_of_the_image) {
    const auto outcome_of = [](const unit_answer_t& answer, bool unsupported = false) {
        scripted_unit_t unit;
        unit.answers["upload"] = {answer};
        const auto outcome = unit.run();
        EXPECT_EQ(unit.unsupported, unsupported);
        EXPECT_EQ(std::count(unit.asked.begin(), unit.asked.end(), "upload"), 1) << "never sent twice";
        return std::string{name_of(outcome)} + ": " + unit.reason;
    };
    EXPECT_EQ(outcome_of({200, "Upload Complete"}), "complete: ");
    EXPECT_EQ(outcome_of({503, "Busy"}), "busy: it is updating already");
    EXPECT_EQ(outcome_of({200, "unsupported hardware"}, true),
              "unsupported_hardware: the image is not for its hardware");
    EXPECT_EQ(outcome_of({404, "Complete nonsense"}), "not_found: it has no page that takes an image (404)");
    EXPECT_EQ(outcome_of({401, "Started"}), "refused: it wants another user or password (401)");
    EXPECT_EQ(outcome_of({403, ""}), "refused: it wants another user or password (403)");
    EXPECT_EQ(outcome_of({500, "Started"}), "error: it answered the image with status 500, \"Started\"");
    EXPECT_EQ(outcome_of({200, ""}), "error: it answered the image with status 200, \"\"");
    EXPECT_EQ(outcome_of(no_answer), "lost: connection refused");
    EXPECT_EQ(outcome_of({0, "the image changed", fault_e::given_up}), "cancelled: the image changed");
}

TEST(uploader, knows_how_the_watch_ended) {
    const auto run = [](std::deque<unit_answer_t> statuses,
                        std::deque<unit_answer_t> hashes = {{200, "0a"}}) {
        scripted_unit_t unit;
        unit.answers[status_path] = std::move(statuses);
        unit.answers[hash_path] = std::move(hashes);
        const auto outcome = unit.run();
        return std::string{name_of(outcome)} + " " + std::to_string(unit.seconds()) + " " + unit.reason;
    };
    const auto writing = status("fw_write", 1);
    EXPECT_EQ(run({writing, status("error")}), "error 1 it reports: D");
    EXPECT_EQ(
        run({writing, {200, "<status><state>error</state><progress>1</progress><detail></detail></status>"}}),
        "error 1 it reports an error");
    EXPECT_EQ(run({writing, status("idle")}), "error 1 it went idle without completing");
    // It completed and rebooted between two looks.
    EXPECT_EQ(run({writing, no_answer, status("idle")}, {{200, "0a"}, {200, "abcd"}}), "complete 2 ");
    // It has just come back and does not know its hash yet.
    EXPECT_EQ(run({writing, status("idle")}, {{200, "0a"}, {200, ""}, {200, "abcd"}}), "complete 2 ");
    EXPECT_EQ(run({writing, status("idle")}, {{200, "0a"}, {503, "starting"}, {200, "abcd"}}), "complete 2 ");
    // Right after the upload: the end of an earlier update, and a unit that has not begun yet.
    EXPECT_EQ(run({status("error"), status("complete"), writing, status("complete")}), "complete 3 ");
    EXPECT_EQ(run({status("idle"), status("idle"), writing, status("complete")}), "complete 3 ");
    EXPECT_EQ(run({status("idle")}), "error 5 it took the image and did nothing");
    EXPECT_EQ(run({status("error")}), "error 5 it reports: D");
    // Useless answers are asked again, until patience is up.
    const unit_answer_t empty{200, ""};
    EXPECT_EQ(run({empty, {500, ""}, {404, ""}, empty, no_answer, writing, status("complete")}),
              "complete 6 ");
    EXPECT_EQ(run({writing, writing, writing, empty}),
              "lost 12 its status file is empty, cut off or of another shape");
    EXPECT_EQ(run({writing, {404, ""}}), "not_found 10 it answered with status 404");
}

TEST(uploader, waits_for_the_return_of_a_unit_on_request) {
    scripted_unit_t unit;
    unit.order.await_return = true;
    unit.answers[hash_path] = {{200, "0a"}, {200, "0a"}, no_answer, no_answer, {200, "abcd"}};
    EXPECT_EQ(unit.run(), push_outcome_e::complete);
    EXPECT_EQ(unit.seconds(), 5);
    scripted_unit_t gone;
    gone.order.await_return = true;
    gone.answers[hash_path] = {{200, "0a"}, no_answer};
    EXPECT_EQ(gone.run(), push_outcome_e::lost);
    EXPECT_EQ(gone.reason, "it has not come back: \"connection refused\"");
    gone.answers[hash_path] = {{200, "0a"}, {200, ""}};
    EXPECT_EQ(gone.run(), push_outcome_e::lost);
    EXPECT_EQ(gone.reason, "it has not come back: no answer");
    gone.answers[hash_path] = {{200, "0a"}};
    EXPECT_EQ(gone.run(), push_outcome_e::lost);
    EXPECT_EQ(gone.reason, "it does not run the image yet");
}

TEST(uploader, takes_a_missing_name_for_final_only_from_a_unit_that_never_answered) {
    const unit_answer_t no_name{0, "no such name", fault_e::hopeless};
    scripted_unit_t unit;
    unit.answers[status_path] = {status("fw_write"), no_name, no_name, status("complete")};
    EXPECT_EQ(unit.run(), push_outcome_e::complete);
    scripted_unit_t watched;
    watched.order.image_hash.clear();
    watched.answers[status_path] = {no_name, status("complete")};
    EXPECT_EQ(watched.run(), push_outcome_e::lost);
    EXPECT_EQ(watched.reason, "no such name");
    EXPECT_EQ(watched.seconds(), 0);
}

TEST(uploader, gives_up_an_update_that_stands_still_only_when_told_how_long) {
    scripted_unit_t unit;
    unit.order.stall = 7s;
    std::deque<unit_answer_t> slow;
    for (int i = 0; i < 30; ++i) {
        slow.push_back(status("fw_write", i / 6));  // a percent in six seconds
    }
    unit.answers[status_path] = slow;
    EXPECT_EQ(unit.run(), push_outcome_e::error);
    EXPECT_EQ(unit.reason, "it stands still in state \"fw_write\" at 4 %");
    EXPECT_EQ(unit.seconds(), 24 + 7);
    unit.answers[status_path] = {status("fw_write", 0)};
    EXPECT_EQ(unit.run(), push_outcome_e::error);
    EXPECT_EQ(unit.reason, "it stands still in state \"fw_write\" at 0 %");
    unit.answers[status_path] = {status("fw_write", 0), status("initializing", -1)};
    EXPECT_EQ(unit.run(), push_outcome_e::error);
    EXPECT_EQ(unit.reason, "it stands still in state \"initializing\"");
    EXPECT_EQ(unit.seconds(), 1 + 7);
    scripted_unit_t patient;
    patient.answers[status_path] = std::deque<unit_answer_t>(900, status("initializing", -1));
    patient.answers[status_path].push_back(status("complete"));
    EXPECT_EQ(patient.run(), push_outcome_e::complete);
}

TEST(uploader, watches_without_sending) {
    scripted_unit_t unit;
    unit.order.image_hash.clear();
    unit.answers[status_path] = {status("idle"), status("fw_write"), status("idle")};
    EXPECT_EQ(unit.run(), push_outcome_e::error);
    EXPECT_EQ(unit.reason, "it went idle without completing");
    EXPECT_EQ(unit.asked.size(), 5U);
    EXPECT_EQ(unit.run(), push_outcome_e::error);
    EXPECT_EQ(unit.reason, "no update began");
    EXPECT_EQ(unit.seconds(), 2 + 5);
    unit.answers[status_path] = {status("complete")};
    EXPECT_EQ(unit.run(), push_outcome_e::complete);
    EXPECT_EQ(unit.seconds(), 2 + 5);
}

TEST(uploader, can_be_cancelled_at_every_step) {
    for (std::size_t operations = 0; operations < 7; ++operations) {
        scripted_unit_t unit;
        unit.cancel_after = operations;
        EXPECT_EQ(unit.run(), push_outcome_e::cancelled);
        EXPECT_EQ(unit.asked.size(), operations);
        EXPECT_EQ(unit.reason, operations == 4 ? "cancelled while uploading" : "cancelled");
    }
}

}  // namespace
