#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

/// What happens to a simulated unit, and when: a small text of one event a line.
///
///     # A firmware update that goes wrong.
///     0.0        state     idle
///     0.5        state     fw_write
///     0.5-4.5    progress  0-60          every whole number in between, evenly spaced
///     1.0        detail    Block 1 of 9  the rest of the line
///     2.0        set       /sys/other Some text
///     3.0        press     1             a button or key goes down; release lets it go
///     4.5        state     error
///     6.0        end
///
/// Times are seconds from the start and never go backwards. "#" begins a comment line. Lines may end in CR
/// LF.
struct scenario_event_t {
    enum class kind_e { set_property, press, release, end };

    std::chrono::milliseconds at{};
    kind_e kind = kind_e::end;
    std::string name;   ///< property
    std::string value;  ///< new value, or the number of the button
};

struct scenario_t {
    std::string name;
    std::string title;  ///< the first comment
    std::vector<scenario_event_t> events;

    /// The values that a property takes one after the other, without repetitions.
    [[nodiscard]] std::vector<std::string> values_of(std::string_view property) const;
};

/// The state that the daemon shows for a word that an updater publishes: the word itself, or "idle" when it
/// knows no such state.
[[nodiscard]] std::string shown_state(std::string_view word);

/// A state as people read it on a display; shown as "idle" is when no such state is known.
[[nodiscard]] std::string state_text(std::string_view word);

/// Reads a scenario's text. Throws std::runtime_error ("name:line: what is wrong").
[[nodiscard]] scenario_t parse_scenario(std::string name, std::string_view text);

/// A scenario by the name of a file in the tree's sim/scenarios/ (without ".scenario") or by its path. Throws
/// std::runtime_error when there is none.
[[nodiscard]] scenario_t load_scenario(const std::string& name_or_path);

/// Names of the scenarios that come with the simulator.
[[nodiscard]] std::vector<std::string> scenario_names();

}  // namespace sim
