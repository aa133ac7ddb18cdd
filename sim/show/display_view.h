#pragma once

#include "sim/show/png.h"
#include "sim/unit/unit.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace sim {

/// What a person sees of a unit's display, for the terminal and as a picture.
class display_view_t {
  public:
    display_view_t() = default;
    display_view_t(const display_view_t&) = delete;
    display_view_t& operator=(const display_view_t&) = delete;
    virtual ~display_view_t() = default;

    /// A line about the display: what it is, its backlight, its LEDs.
    [[nodiscard]] virtual std::string caption() const = 0;
    /// The picture in text, at most so many columns wide.
    [[nodiscard]] virtual std::vector<std::string> lines(unsigned columns) const = 0;
    [[nodiscard]] virtual pixels_t pixels() const = 0;
    /// Whether the daemon has put anything on it.
    [[nodiscard]] virtual bool in_use() const = 0;
    /// Whether what is published is to be seen at once. Otherwise it takes some seconds, and states come and
    /// go unseen.
    [[nodiscard]] virtual bool keeps_up() const = 0;
    /// What it shows otherwise than it should; empty when that is all right.
    /// @param state    as people read it.
    /// @param percent  none: whatever it shows is right.
    [[nodiscard]] virtual std::string difference(const std::string& state,
                                                 std::optional<int> percent) const = 0;
};

/// The view of the LCD that this process's unit root has; null when the unit has none.
[[nodiscard]] std::unique_ptr<display_view_t> make_lcd_view(const unit_definition_t& definition);

/// The view of the display that a unit has; null when it has none.
[[nodiscard]] std::unique_ptr<display_view_t> make_display_view(unit_t& unit);

}  // namespace sim
