#include "tools/fwpush/display.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <map>
#include <string>
#include <utility>

namespace fwpush {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds between_drawings{150};
constexpr std::size_t widest_name = 24;
constexpr std::size_t widest_stage = 10;
constexpr std::size_t narrowest_bar = 5;
constexpr std::size_t widest_bar = 20;
constexpr std::size_t signs_and_time = 20;  // and the last column
constexpr std::size_t room_for_text = 22;

// A text cut or filled up to a width.
std::string column(std::string_view text, std::size_t width) {
    return filled(printable(text, width), width);
}

// The lower, the sooner a unit is worth one of the terminal's lines.
int rank_of(const unit_view_t& unit) {
    if (unit.outcome) {
        return is_success(*unit.outcome) ? 3 : 1;
    }
    return unit.is_waiting || unit.stage == firmware::push_stage_e::preparing ? 2 : 0;
}

std::string bar_of(const unit_view_t& unit, std::size_t bar_width) {
    const bool is_done = unit.outcome && is_success(*unit.outcome);
    const auto percent = static_cast<std::size_t>(is_done ? 100 : std::clamp(unit.value, 0, 100));
    const auto filled = percent * bar_width / 100;
    auto number = unit.value < 0 && !is_done ? std::string{"-"} : std::to_string(percent);
    number.insert(0, 3 - number.size(), ' ');
    return "[" + std::string(filled, '#') + std::string(bar_width - filled, '.') + "] " + number + " %";
}

class bars_t final : public display_t {
  public:
    explicit bars_t(std::vector<const unit_view_t*> units) : units_{std::move(units)} {
        for (const auto* unit : units_) {
            name_width_ = std::max(name_width_, std::min(width_of(unit->name), widest_name));
        }
    }

    void changed(const unit_view_t& /*unit*/, time_point_t /*now*/) override {}
    void ended(const unit_view_t& /*unit*/, time_point_t /*now*/) override {}
    void redraw(time_point_t now) override {
        if (now - drawn_ >= between_drawings) {
            drawn_ = now;
            draw(now);
        }
    }
    void finish(const std::vector<const unit_view_t*>& units, time_point_t now) override {
        draw(now);
        std::printf("\n");
        print_summary(units, now);
    }

  private:
    void draw(time_point_t now) {
        winsize size{};
        if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_row < 4 || size.ws_col < 20) {
            size.ws_row = 24;
            size.ws_col = 80;
        }
        const std::size_t lines = size.ws_row - 1U;
        // Without wrapping: a line of wide characters would take two, and the next picture begin too low.
        std::string picture = "\x1b[?7l";
        picture += lines_drawn_ == 0 ? "" : "\x1b[" + std::to_string(lines_drawn_) + "A";
        const bool all_fit = units_.size() <= lines;
        const auto shown = all_fit ? units_ : worthiest(lines - 1);
        // Stages are short; the column grows with the first long outcome.
        for (const auto* unit : shown) {
            word_width_ = std::max(word_width_, word_for(*unit).size());
        }
        // What is narrow takes from the bar first.
        const auto others = name_width_ + word_width_ + signs_and_time + room_for_text;
        const auto bar_width =
            std::clamp<std::size_t>(size.ws_col, others + narrowest_bar, others + widest_bar) - others;
        for (const auto* unit : shown) {
            add_line(picture, line_of(*unit, bar_width, now), size.ws_col);
        }
        if (!all_fit) {
            add_line(picture, "... all " + std::to_string(units_.size()) + " units: " + counts(),
                     size.ws_col);
        }
        // A terminal that has become lower.
        picture += "\x1b[J\x1b[?7h";
        lines_drawn_ = shown.size() + (all_fit ? 0 : 1);
        std::fwrite(picture.data(), 1, picture.size(), stdout);
        std::fflush(stdout);
    }

    [[nodiscard]] std::vector<const unit_view_t*> worthiest(std::size_t lines) const {
        auto shown = units_;
        std::stable_sort(shown.begin(), shown.end(),
                         [](const auto* one, const auto* other) { return rank_of(*one) < rank_of(*other); });
        shown.resize(lines);
        return shown;
    }

    [[nodiscard]] std::string counts() const {
        std::map<std::string_view, int> words;
        for (const auto* unit : units_) {
            ++words[word_for(*unit)];
        }
        std::string text;
        for (const auto& [word, count] : words) {
            text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + std::string{word};
        }
        return text;
    }

    [[nodiscard]] std::string line_of(const unit_view_t& unit, std::size_t bar_width,
                                      time_point_t now) const {
        auto time = minutes(unit.time(now));
        time.insert(0, 6 - std::min<std::size_t>(time.size(), 6), ' ');
        return column(unit.name, name_width_) + " " + bar_of(unit, bar_width) + "  " +
               column(word_for(unit), word_width_) + time + "  " + (unit.outcome ? unit.reason : unit.detail);
    }

    // The last column stays empty: some terminals wrap behind it.
    static void add_line(std::string& picture, const std::string& line, std::size_t columns) {
        picture += printable(line, columns - 1) + "\x1b[K\n";
    }

    std::vector<const unit_view_t*> units_;
    std::size_t name_width_{};
    std::size_t word_width_ = widest_stage;
    std::size_t lines_drawn_ = 0;
    time_point_t drawn_{};
};

}  // namespace

std::unique_ptr<display_t> make_bars(std::vector<const unit_view_t*> units) {
    return std::make_unique<bars_t>(std::move(units));
}

}  // namespace fwpush
