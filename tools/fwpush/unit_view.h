#pragma once

#include "firmware/uploader/push_stage.h"

#include <chrono>
#include <optional>
#include <string>

namespace fwpush {

/// What there is to show of one unit. The texts are printable, see `printable`.
struct unit_view_t {
    std::string name;
    firmware::push_stage_e stage = firmware::push_stage_e::preparing;
    int value = -1;           ///< percent, -1 while unknown
    bool is_waiting = false;  ///< for its turn to upload
    std::string detail;       ///< the unit's own, or why it does not answer at present
    std::optional<firmware::push_outcome_e> outcome;  ///< once it has ended
    std::string reason;                               ///< of the outcome; often empty when all is well
    std::chrono::steady_clock::time_point begun;
    std::chrono::steady_clock::time_point ended;

    /// How long it took, or has taken by `now`.
    [[nodiscard]] std::chrono::milliseconds time(std::chrono::steady_clock::time_point now) const {
        return std::chrono::duration_cast<std::chrono::milliseconds>((outcome ? ended : now) - begun);
    }
};

/// A word for what the unit is at: its stage, "waiting", or its outcome.
[[nodiscard]] std::string_view word_for(const unit_view_t& unit);

/// A text of a unit that a terminal and a JSON reader can bear: valid UTF-8 without control characters, each
/// byte that is not replaced by "?", and no longer than `length` characters.
[[nodiscard]] std::string printable(std::string_view text, std::size_t length = 200);

/// How many characters a printable text has.
[[nodiscard]] std::size_t width_of(std::string_view printable_text);

/// A printable text filled up with blanks to a width; a wider one stays as it is.
[[nodiscard]] std::string filled(std::string printable_text, std::size_t width);

/// Minutes and seconds, "1:05".
[[nodiscard]] std::string minutes(std::chrono::milliseconds time);

}  // namespace fwpush
