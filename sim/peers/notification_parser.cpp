#include "sim/peers/notification_parser.h"

#include <array>
#include <optional>

namespace sim {

namespace {

constexpr std::string_view begin_text = "fw_update_begin";
constexpr std::string_view state_prefix = "fw_update_state ";
constexpr std::string_view progress_prefix = "fw_update_progress ";

// As people read them on the displays of a unit. None is the beginning of another.
constexpr std::array<std::string_view, 6> display_names{
    "Idle", "Initializing", "Writing Firmware", "Writing FPGA", "Finished. Rebooting...", "Error"};

enum class fit_e { no, needs_more, whole };

// How far `stream` fits `text`.
fit_e fit(std::string_view stream, std::string_view text) {
    if (stream.starts_with(text)) {
        return fit_e::whole;
    }
    return text.starts_with(stream) ? fit_e::needs_more : fit_e::no;
}

struct value_fit_t {
    fit_e fit = fit_e::no;
    std::string_view value{};
};

value_fit_t fit_name(std::string_view stream) {
    for (const auto name : display_names) {
        if (const auto result = fit(stream, name); result != fit_e::no) {
            return {result, name};
        }
    }
    return {};
}

// The longest text at the start that is -1 or 0 to 100 without leading zeros. Without `at_end` a number that
// the next byte could prolong needs more.
value_fit_t fit_number(std::string_view stream, bool at_end) {
    if (const auto result = fit(stream, "-1"); result == fit_e::whole || stream.starts_with('-')) {
        return {result, "-1"};
    }
    if (fit(stream, "100") == fit_e::whole) {
        return {fit_e::whole, "100"};
    }
    std::size_t digits = 0;
    while (digits < stream.size() && digits < 2 && stream[digits] >= '0' && stream[digits] <= '9' &&
           !(digits == 1 && stream.front() == '0')) {
        ++digits;
    }
    const auto value = stream.substr(0, digits);
    const bool may_go_on = digits == stream.size() && value != "0" && (digits < 2 || value == "10");
    if (may_go_on && (!at_end || digits == 0)) {
        return {fit_e::needs_more};
    }
    return digits == 0 ? value_fit_t{} : value_fit_t{fit_e::whole, value};
}

}  // namespace

std::vector<notification_t> notification_parser_t::feed(std::string_view bytes) {
    stream_ += bytes;
    std::vector<notification_t> whole;
    while (take(whole, false)) {
    }
    return whole;
}

std::vector<notification_t> notification_parser_t::settle() {
    std::vector<notification_t> whole;
    while (take(whole, true)) {
    }
    return whole;
}

std::vector<notification_t> notification_parser_t::finish() {
    auto whole = settle();
    garbage_ += stream_.size();
    stream_.clear();
    return whole;
}

// Takes a notification, or one byte of garbage, off the start. False when that needs more bytes.
bool notification_parser_t::take(std::vector<notification_t>& whole, bool at_end) {
    const std::string_view stream{stream_};
    if (stream.empty()) {
        return false;
    }
    const auto accept = [&](notification_t::kind_e kind, std::size_t prefix, std::string_view value) {
        whole.push_back({kind, std::string{value}});
        stream_.erase(0, prefix + value.size());
        return true;
    };
    using kind_e = notification_t::kind_e;
    if (fit(stream, begin_text) == fit_e::whole) {
        return accept(kind_e::begin, begin_text.size(), {});
    }
    value_fit_t value;
    if (fit(stream, state_prefix) == fit_e::whole) {
        value = fit_name(stream.substr(state_prefix.size()));
        if (value.fit == fit_e::whole) {
            return accept(kind_e::state, state_prefix.size(), value.value);
        }
    } else if (fit(stream, progress_prefix) == fit_e::whole) {
        value = fit_number(stream.substr(progress_prefix.size()), at_end);
        if (value.fit == fit_e::whole) {
            return accept(kind_e::progress, progress_prefix.size(), value.value);
        }
    } else if (begin_text.starts_with(stream) || state_prefix.starts_with(stream) ||
               progress_prefix.starts_with(stream)) {
        value.fit = fit_e::needs_more;
    }
    if (value.fit == fit_e::needs_more) {
        return false;
    }
    stream_.erase(0, 1);
    ++garbage_;
    return true;
}

}  // namespace sim
