#include "firmware/uploader/push_course.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <system_error>
#include <utility>

namespace firmware {

namespace {

using fault_e = unit_answer_t::fault_e;

constexpr std::string_view hash_path = "/cgi-bin/hw_config?firmware_hash";
constexpr std::string_view id_path = "/cgi-bin/hw_config?firmware_id";
constexpr std::string_view compat_path = "/cgi-bin/hw_config?fw_compat";
constexpr std::string_view status_path = "/fw_status.xml";
constexpr auto interval = std::chrono::seconds{1};
constexpr std::size_t quoted_length = 80;

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r\n";
    const auto begin = text.find_first_not_of(blanks);
    return begin == std::string_view::npos ? std::string_view{}
                                           : text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

bool is_hash(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char character) {
        return std::isxdigit(static_cast<unsigned char>(character)) != 0;
    });
}

bool equal_digits(std::string_view left, std::string_view right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(), [](char one, char other) {
        return std::tolower(static_cast<unsigned char>(one)) ==
               std::tolower(static_cast<unsigned char>(other));
    });
}

std::string quoted(std::string_view text) {
    const auto line = trimmed(text.substr(0, text.find('\n', text.find_first_not_of("\r\n"))));
    return "\"" + std::string{line.substr(0, quoted_length)} + (line.size() > quoted_length ? "..." : "") +
           "\"";
}

bool refuses_user(const unit_answer_t& answer) {
    return answer.code == 401 || answer.code == 403;
}

bool contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

}  // namespace

push_course_t::push_course_t(push_order_t order, uploader_observer_intf_t& observer, time_point_t now)
    : order_{std::move(order)}, observer_{observer}, phase_{order_.image_hash.empty() ? phase_e::watch
                                                                                      : phase_e::hash},
      not_before_{now}, last_useful_{now}, grace_ends_{now + order_.grace} {
    observer_.report(push_stage_e::preparing, -1);
}

push_step_t push_course_t::next(time_point_t now) {
    using kind_e = push_step_t::kind_e;
    if (!has_ended() && observer_.cancelled()) {
        end(push_outcome_e::cancelled, "cancelled");
    }
    if (has_ended()) {
        return {};
    }
    if (now < not_before_) {
        return {.kind = kind_e::wait, .until = not_before_};
    }
    asked_at_ = now;
    switch (phase_) {
    case phase_e::id:
        return {.kind = kind_e::request, .path = id_path};
    case phase_e::compat:
        return {.kind = kind_e::request, .path = compat_path};
    case phase_e::upload:
        return {.kind = kind_e::upload};
    case phase_e::watch:
    case phase_e::reboot:
        return {.kind = kind_e::request, .path = status_path};
    default:
        return {.kind = kind_e::request, .path = hash_path};
    }
}

void push_course_t::answered(const unit_answer_t& answer, time_point_t now) {
    if (has_ended()) {
        return;
    }
    if (observer_.cancelled()) {
        end(push_outcome_e::cancelled, phase_ == phase_e::upload ? "cancelled while uploading" : "cancelled");
        return;
    }
    if (answer.fault == fault_e::hopeless && !has_answered_) {
        end(push_outcome_e::lost, answer.text);
        return;
    }
    has_answered_ = has_answered_ || answer.fault == fault_e::none;
    switch (phase_) {
    case phase_e::upload:
        examine_upload(answer, now);
        break;
    case phase_e::watch:
        examine_status(answer, now);
        break;
    case phase_e::note:
        note_hash(answer, now);
        break;
    case phase_e::reboot:
        await_idle(answer, now);
        break;
    case phase_e::verify:
        verify(answer, now);
        break;
    default:
        if (settle_without_page(answer, now)) {
            return;
        }
        if (phase_ == phase_e::hash) {
            compare_hash(answer, now);
        } else if (phase_ == phase_e::compat) {
            check_compat(answer, now);
        } else {
            firmware_id_ = trimmed(answer.text);
            go_on_with(phase_e::compat, now);
        }
        break;
    }
}

void push_course_t::end(push_outcome_e outcome, std::string reason) {
    phase_ = phase_e::ended;
    outcome_ = outcome;
    reason_ = std::move(reason);
}

void push_course_t::go_on_with(phase_e phase, time_point_t now) {
    phase_ = phase;
    reason_.clear();
    last_useful_ = now;
    not_before_ = now;
}

void push_course_t::ask_again(std::string reason, time_point_t now) {
    if (now - last_useful_ >= order_.patience) {
        end(page_missing_ ? push_outcome_e::not_found : push_outcome_e::lost, std::move(reason));
        return;
    }
    reason_ = std::move(reason);
    not_before_ = asked_at_ + interval;
}

// Before anything was sent: whether the answer is no page to read, and what that means.
bool push_course_t::settle_without_page(const unit_answer_t& answer, time_point_t now) {
    if (answer.fault != fault_e::none) {
        ask_again(answer.text, now);
    } else if (answer.code == 404) {
        end(push_outcome_e::not_found, "it has no page /cgi-bin/hw_config (404)");
    } else if (refuses_user(answer)) {
        refuse_user(answer);
    } else if (answer.code != 200) {
        ask_again("it answered with status " + std::to_string(answer.code), now);
    } else {
        return false;
    }
    return true;
}

void push_course_t::refuse_user(const unit_answer_t& answer) {
    end(push_outcome_e::refused, "it wants another user or password (" + std::to_string(answer.code) + ")");
}

void push_course_t::compare_hash(const unit_answer_t& answer, time_point_t now) {
    const auto hash = trimmed(answer.text);
    if (!is_hash(hash)) {
        end(push_outcome_e::refused, "its firmware hash is none: " + quoted(answer.text));
    } else if (equal_digits(hash, order_.image_hash) && !order_.force) {
        end(push_outcome_e::up_to_date, "it has this firmware");
    } else {
        had_image_ = equal_digits(hash, order_.image_hash);
        go_on_with(phase_e::id, now);
    }
}

void push_course_t::check_compat(const unit_answer_t& answer, time_point_t now) {
    const auto digits = trimmed(answer.text);
    unsigned compat{};
    const auto [rest, fault] = std::from_chars(digits.data(), digits.data() + digits.size(), compat);
    if (fault != std::errc{} || rest != digits.data() + digits.size()) {
        end(push_outcome_e::refused, "its compatibility is no unsigned number: " + quoted(answer.text));
    } else if (compat < order_.min_compat) {
        end(push_outcome_e::refused,
            "its compatibility " + std::to_string(compat) + " is below " + std::to_string(order_.min_compat));
    } else {
        go_on_with(phase_e::upload, now);
        observer_.report(push_stage_e::uploading, 0);
    }
}

void push_course_t::examine_upload(const unit_answer_t& answer, time_point_t now) {
    if (answer.fault == fault_e::given_up) {
        end(push_outcome_e::cancelled, answer.text);
    } else if (answer.fault != fault_e::none) {
        // It may have got the whole image: sending it once more could disturb an update.
        end(push_outcome_e::lost, answer.text);
    } else if (answer.code == 404) {
        end(push_outcome_e::not_found, "it has no page that takes an image (404)");
    } else if (contains(answer.text, "unsupported hardware")) {
        end(push_outcome_e::unsupported_hardware, "the image is not for its hardware");
    } else if (contains(answer.text, "Busy")) {
        end(push_outcome_e::busy, "it is updating already");
    } else if (refuses_user(answer)) {
        refuse_user(answer);
    } else if (answer.code == 200 &&
               (contains(answer.text, "Complete") || contains(answer.text, "Started"))) {
        go_on_with(phase_e::watch, now);
        grace_ends_ = now + order_.grace;
    } else {
        end(push_outcome_e::error,
            "it answered the image with status " + std::to_string(answer.code) + ", " + quoted(answer.text));
    }
}

// Takes the unit's status, or sees to it that it is asked for again.
bool push_course_t::read_status(const unit_answer_t& answer, time_point_t now) {
    page_missing_ = answer.code == 404;
    if (answer.fault != fault_e::none) {
        ask_again(answer.text, now);
        return false;
    }
    // A unit that has shown its status, or taken an image, may do so again once it has rebooted.
    if (refuses_user(answer) && only_watches() && status_.state.empty()) {
        refuse_user(answer);
        return false;
    }
    if (answer.code != 200) {
        ask_again("it answered with status " + std::to_string(answer.code), now);
        return false;
    }
    auto status = read_status_answer(answer.text);
    if (!status) {
        ask_again("its status file is empty, cut off or of another shape", now);
        return false;
    }
    if (status->state != status_.state || status->progress != status_.progress) {
        changed_at_ = now;
    }
    status_ = *std::move(status);
    return true;
}

void push_course_t::examine_status(const unit_answer_t& answer, time_point_t now) {
    if (!read_status(answer, now)) {
        return;
    }
    last_useful_ = now;
    reason_.clear();
    not_before_ = asked_at_ + interval;
    observer_.report(stage_of(status_.state), status_.progress);
    has_left_idle_ = has_left_idle_ || status_.state != "idle";
    if (status_.state == "idle" || status_.state == "error" || status_.state == "complete") {
        watch_ends(now);
    } else {
        if (only_watches() && !has_moved_) {
            phase_ = phase_e::note;
        }
        has_moved_ = true;
        check_stall(now);
    }
}

// What a watched unit runs while it is updated: another hash afterwards tells of an update that went well.
void push_course_t::note_hash(const unit_answer_t& answer, time_point_t now) {
    const auto hash = trimmed(answer.text);
    if (answer.fault == fault_e::none && answer.code == 200 && is_hash(hash)) {
        hash_before_ = hash;
    }
    go_on_with(phase_e::watch, now);
}

void push_course_t::check_stall(time_point_t now) {
    if (order_.stall.count() != 0 && now - changed_at_ >= order_.stall) {
        end(push_outcome_e::error,
            "it stands still in state " + quoted(status_.state) +
                (status_.progress < 0 ? "" : " at " + std::to_string(status_.progress) + " %"));
    }
}

void push_course_t::watch_ends(time_point_t now) {
    const bool is_idle = status_.state == "idle";
    const bool was_sent = !only_watches();
    // Right after the upload the file may be that of an earlier update.
    if (!has_moved_ && (is_idle || was_sent) && now < grace_ends_) {
        return;
    }
    if (status_.state == "error") {
        end(push_outcome_e::error,
            status_.detail.empty() ? "it reports an error" : "it reports: " + status_.detail);
    } else if (was_sent && is_idle && had_image_ && !has_left_idle_) {
        end(push_outcome_e::error, "it took the image, which it had already, and was not seen to write it");
    } else if (was_sent && (is_idle || order_.await_return)) {
        was_complete_ = !is_idle;
        // The hash of a unit that had the image does not tell when it is back.
        go_on_with(was_complete_ && had_image_ ? phase_e::reboot : phase_e::verify, now);
    } else if (!is_idle) {
        end(push_outcome_e::complete, "");
    } else if (!hash_before_.empty()) {
        go_on_with(phase_e::verify, now);
    } else {
        end(push_outcome_e::error, has_moved_ ? "it went idle without completing" : "no update began");
    }
}

void push_course_t::await_idle(const unit_answer_t& answer, time_point_t now) {
    if (!read_status(answer, now)) {
        return;
    }
    if (status_.state == "idle") {
        go_on_with(phase_e::verify, now);
    } else {
        ask_again("it has not rebooted yet", now);
    }
}

// Idle after an update: a unit whose "complete" nobody saw has rebooted and runs the image, or, when nobody
// here knows the image, another one than before.
void push_course_t::verify(const unit_answer_t& answer, time_point_t now) {
    // Empty is what a unit says that does not know yet.
    const auto hash = trimmed(answer.text);
    const bool is_answer = answer.fault == fault_e::none && answer.code == 200 && !hash.empty();
    const bool runs_image = only_watches() ? is_hash(hash) && !equal_digits(hash, hash_before_)
                                           : equal_digits(hash, order_.image_hash);
    if (is_answer && runs_image) {
        end(push_outcome_e::complete, "");
    } else if (is_answer && !was_complete_) {
        end(push_outcome_e::error,
            has_moved_ ? "it went idle without completing" : "it took the image and did nothing");
    } else {
        ask_again(is_answer
                      ? "it does not run the image yet"
                      : "it has not come back: " + (answer.text.empty() ? "no answer" : quoted(answer.text)),
                  now);
    }
}

}  // namespace firmware
