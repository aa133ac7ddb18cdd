#include "sim/show/display_view.h"

#include "sim/board/front_panel_block.h"
#include "sim/board/keypad_state.h"
#include "sim/root/shared_state.h"
#include "sim/show/lcd_reading.h"
#include "sim/show/picture.h"
#include "sim/show/seven_segment_picture.h"
#include "sim/show/text_lines.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace sim {

namespace {

constexpr unsigned picture_scale = 4;
constexpr double bar_accuracy = 0.6;  // a percent is two pixels and a bit

std::string backlight_text(int level) {
    return "backlight " + std::to_string(level);
}

/// Either of the two displays with a glass.
class lcd_view_t : public display_view_t {
  public:
    explicit lcd_view_t(const glass_state_t& glass) : glass_{glass} {}

    [[nodiscard]] std::vector<std::string> lines(unsigned columns) const override {
        return lines_of(terminal_picture(picture_of(glass_), columns));
    }
    [[nodiscard]] bool in_use() const override { return glass_.lit(); }
    [[nodiscard]] bool keeps_up() const override { return true; }
    [[nodiscard]] std::string difference(const std::string& state,
                                         std::optional<int> percent) const override {
        const auto shown = picture_of(glass_);
        if (!shows_text(shown, state)) {
            return "no \"" + state + "\" is on the glass";
        }
        const auto bar = bar_on(shown);
        if (percent && (!bar || std::abs(*bar - *percent) > bar_accuracy)) {
            return bar ? "the bar stands at " + std::to_string(std::lround(*bar)) + " %, not at " +
                             std::to_string(*percent) + " %"
                       : "no bar is on the glass";
        }
        return {};
    }

  protected:
    [[nodiscard]] pixels_t picture(int backlight) const {
        return tinted_picture(picture_of(glass_), (backlight + 128) / 255.0, picture_scale);
    }

  private:
    const glass_state_t& glass_;
};

class front_panel_view_t final : public lcd_view_t {
  public:
    explicit front_panel_view_t(const front_panel_state_t& state) : lcd_view_t{state.glass}, state_{state} {}

    [[nodiscard]] std::string caption() const override {
        return "LCD front panel, " + backlight_text(state_.backlight);
    }
    [[nodiscard]] pixels_t pixels() const override { return picture(state_.backlight); }

  private:
    const front_panel_state_t& state_;
};

class page_station_view_t final : public lcd_view_t {
  public:
    page_station_view_t(const glass_state_t& glass, const page_station_state_t& state)
        : lcd_view_t{glass}, state_{state} {}

    [[nodiscard]] std::string caption() const override {
        const auto lit = std::count(state_.face.leds_a.begin(), state_.face.leds_a.end(), true) +
                         std::count(state_.face.leds_b.begin(), state_.face.leds_b.end(), true);
        return "page station, " + backlight_text(state_.backlight) + ", keypad " + keypad_text() + ", " +
               std::to_string(lit) + " key LEDs lit";
    }
    [[nodiscard]] pixels_t pixels() const override { return picture(state_.backlight); }

  private:
    [[nodiscard]] std::string keypad_text() const {
        if (!state_.chip.present) {
            return "absent";
        }
        if (state_.chip.blocks_programmed > 0) {
            return "programmed anew (" + std::to_string(state_.chip.blocks_programmed) + " blocks)";
        }
        return state_.keypad_runs ? "running" : "in reset";
    }

    const page_station_state_t& state_;
};

class serial_panel_view_t final : public display_view_t {
  public:
    explicit serial_panel_view_t(const serial_module_t& module) : module_{module} {}

    [[nodiscard]] std::string caption() const override { return "serial front panel"; }
    [[nodiscard]] std::vector<std::string> lines(unsigned /*columns*/) const override {
        return lines_of(seven_segment_text(module_.display()));
    }
    // With its latest number, which shares the digits with an animation.
    [[nodiscard]] pixels_t pixels() const override { return seven_segment_pixels(latest_number()); }
    [[nodiscard]] bool in_use() const override { return !module_.history().empty(); }
    [[nodiscard]] bool keeps_up() const override { return false; }
    [[nodiscard]] std::string difference(const std::string& /*state*/,
                                         std::optional<int> percent) const override {
        const auto number = number_on(latest_number());
        if (!percent || number == percent) {
            return {};
        }
        return (number ? std::to_string(*number) : "no number") + " is on the panel, not " +
               std::to_string(*percent);
    }

  private:
    [[nodiscard]] serial_display_t latest_number() const {
        const auto frames = module_.history();
        const auto found = std::find_if(frames.rbegin(), frames.rend(), [](const auto& frame) {
            return number_on(frame.display).has_value();
        });
        return found == frames.rend() ? module_.display() : found->display;
    }

    const serial_module_t& module_;
};

}  // namespace

std::unique_ptr<display_view_t> make_lcd_view(const unit_definition_t& definition) {
    if (definition.has_front_panel) {
        return std::make_unique<front_panel_view_t>(shared_state<front_panel_state_t>("front_panel"));
    }
    if (definition.has_page_station) {
        return std::make_unique<page_station_view_t>(shared_state<glass_state_t>("glass"),
                                                     shared_state<page_station_state_t>("page_station"));
    }
    return nullptr;
}

std::unique_ptr<display_view_t> make_display_view(unit_t& unit) {
    if (auto lcd = make_lcd_view(unit.definition())) {
        return lcd;
    }
    return unit.serial_module() == nullptr ? nullptr
                                           : std::make_unique<serial_panel_view_t>(*unit.serial_module());
}

}  // namespace sim
