#include "tools/fwpush/fleet.h"

#include <sys/resource.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

namespace fwpush {

namespace {

using firmware::push_outcome_e;
using firmware::push_stage_e;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

// And of looks at signals.
constexpr milliseconds between_redraws{200};
constexpr milliseconds start_spread{1000};
// Units whose time comes within this are asked together: a waking for each of a thousand costs more than
// asking it.
constexpr milliseconds between_wakings{50};

int signal_descriptor() {
    const auto set = ending_signals();
    const int descriptor = ::signalfd(-1, &set, SFD_NONBLOCK | SFD_CLOEXEC);
    if (descriptor < 0) {  // the signals are blocked: nothing else would hear them
        throw std::system_error{errno, std::generic_category(), "signals cannot be read"};
    }
    return descriptor;
}

// Every unit keeps a connection open.
void allow_many_descriptors() {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        ::setrlimit(RLIMIT_NOFILE, &limit);
    }
}

firmware::push_order_t order_for(const options_t& options, const image_t* image) {
    return {.image_hash = image == nullptr ? "" : image->hash(),
            .force = options.force,
            .min_compat = options.min_compat,
            .patience = options.timeout,
            .grace = options.grace,
            .await_return = options.await_return,
            .stall = options.stall};
}

}  // namespace

sigset_t ending_signals() {
    sigset_t set{};
    ::sigemptyset(&set);
    ::sigaddset(&set, SIGINT);
    ::sigaddset(&set, SIGTERM);
    return set;
}

milliseconds start_delay(std::size_t unit, std::size_t units) {
    return start_spread * unit / std::max<std::size_t>(units, 100);
}

fleet_t::member_t::member_t(fleet_t& fleet, const unit_address_t& address, time_point_t begins)
    : fleet_{fleet}, course_{order_for(fleet.options_, fleet.image_), *this, begins},
      link_{address.url, fleet.options_, fleet.transfers_,
            [this](const firmware::unit_answer_t& answer) { answered(answer); }} {
    view_.name = printable(address.name);
    view_.begun = begins;
}

void fleet_t::member_t::report(push_stage_e stage, int value) {
    view_.stage = stage;
    view_.value = value;
}

// Shows what is new to the operator.
void fleet_t::member_t::show() {
    const auto& text = course_.reason().empty() ? course_.detail() : course_.reason();
    view_.detail = printable(text);
    if (view_.stage != shown_.stage || view_.value != shown_.value || view_.detail != shown_.detail ||
        view_.is_waiting != shown_.is_waiting || shown_.name.empty()) {
        shown_ = view_;
        fleet_.display_->changed(view_, steady_clock::now());
    }
}

void fleet_t::member_t::finish() {
    view_.outcome = course_.outcome();
    view_.reason = printable(course_.reason());
    view_.ended = std::max(steady_clock::now(), view_.begun);
    --fleet_.running_;
    fleet_.display_->ended(view_, view_.ended);
}

void fleet_t::member_t::refuse(const std::string& reason) {
    course_.end(push_outcome_e::refused, reason);
    finish();
}

void fleet_t::member_t::advance() {
    using kind_e = firmware::push_step_t::kind_e;
    const auto step = course_.next(steady_clock::now());
    switch (step.kind) {
    case kind_e::end:
        finish();
        break;
    case kind_e::wait:
        fleet_.sleepers_.emplace(step.until, this);
        break;
    case kind_e::request:
        link_.get(step.path);
        break;
    case kind_e::upload:
        if (fleet_.uploads_ < fleet_.options_.jobs && fleet_.waiting_.empty()) {
            start_upload();
        } else {
            view_.is_waiting = true;
            fleet_.waiting_.push_back(this);
        }
        break;
    }
    if (!has_ended()) {
        show();
    }
}

void fleet_t::member_t::start_upload() {
    view_.is_waiting = false;
    is_uploading_ = true;
    ++fleet_.uploads_;
    view_.begun = steady_clock::now();
    show();
    link_.send(*fleet_.image_, [this](std::int64_t sent) {
        report(push_stage_e::uploading, static_cast<int>(sent * 100 / fleet_.image_->size()));
        show();
    });
}

void fleet_t::member_t::answered(const firmware::unit_answer_t& answer) {
    const bool was_upload = std::exchange(is_uploading_, false);
    if (was_upload) {
        --fleet_.uploads_;
    }
    course_.answered(answer, steady_clock::now());
    was_sent_ = was_sent_ || (was_upload && !course_.has_ended());
    advance();
}

const char* fleet_t::member_t::reason_of_cancelling() const {
    if (is_uploading_) {
        return view_.value < 100
                   ? "cancelled while uploading; the unit may have part of the image"
                   : "cancelled while uploading; the unit may have the whole image, and go on by itself";
    }
    return was_sent_ ? "no longer watched; the unit goes on by itself" : "cancelled";
}

void fleet_t::member_t::cancel() {
    if (has_ended()) {
        return;
    }
    course_.end(push_outcome_e::cancelled, reason_of_cancelling());
    finish();
}

fleet_t::fleet_t(const options_t& options, const image_t* image)
    : options_{options}, image_{image}, signals_{signal_descriptor()}, transfers_{options.units.size()} {
    allow_many_descriptors();
    const auto now = steady_clock::now();
    const auto addresses = addresses_of(options.units);
    std::vector<const unit_view_t*> views;
    for (std::size_t i = 0; i < addresses.size(); ++i) {
        members_.push_back(
            std::make_unique<member_t>(*this, addresses[i], now + start_delay(i, addresses.size())));
        views.push_back(&members_.back()->view());
    }
    display_ = make_display(options, std::move(views), now);
    running_ = members_.size();
    for (std::size_t i = 0; i < addresses.size(); ++i) {
        if (addresses[i].fault.empty()) {
            members_[i]->advance();
        } else {
            members_[i]->refuse(addresses[i].fault);
        }
    }
}

fleet_t::~fleet_t() {
    ::close(signals_);
}

bool fleet_t::run() {
    while (running_ != 0) {
        wake_sleepers();
        start_uploads();
        const auto soon = steady_clock::now() + between_redraws;
        transfers_.run(sleepers_.empty() ? soon
                                         : std::min(soon, std::max(sleepers_.begin()->first, wakes_again_)));
        signalfd_siginfo signal{};
        if (::read(signals_, &signal, sizeof signal) == sizeof signal) {
            cancel();
        }
        display_->redraw(steady_clock::now());
    }
    std::vector<const unit_view_t*> views;
    for (const auto& member : members_) {
        views.push_back(&member->view());
    }
    display_->finish(views, steady_clock::now());
    return std::all_of(views.begin(), views.end(),
                       [](const auto* view) { return is_success(view->outcome.value()); });
}

void fleet_t::wake_sleepers() {
    const auto now = steady_clock::now();
    if (now < wakes_again_) {
        return;
    }
    wakes_again_ = now + between_wakings;
    while (!sleepers_.empty() && sleepers_.begin()->first <= now) {
        auto* const member = sleepers_.begin()->second;
        sleepers_.erase(sleepers_.begin());
        member->advance();
    }
}

void fleet_t::start_uploads() {
    while (uploads_ < options_.jobs && !waiting_.empty()) {
        auto* const member = waiting_.front();
        waiting_.pop_front();
        member->start_upload();
    }
}

void fleet_t::cancel() {
    const auto set = ending_signals();
    ::pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
    for (const auto& member : members_) {
        member->cancel();
    }
}

}  // namespace fwpush
