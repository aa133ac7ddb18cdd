#include "tools/fwpush/display.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <utility>

namespace fwpush {

namespace {

constexpr int tenth = 10;
constexpr std::size_t usual_name = 20;
constexpr auto between_lines = std::chrono::seconds{1};  // of one unit at one stage

int size_of(std::string_view text) {
    return static_cast<int>(text.size());
}

/// Nothing until the end.
class quiet_t final : public display_t {
  public:
    void changed(const unit_view_t& /*unit*/, time_point_t /*now*/) override {}
    void ended(const unit_view_t& /*unit*/, time_point_t /*now*/) override {}
    void finish(const std::vector<const unit_view_t*>& units, time_point_t now) override {
        print_summary(units, now);
    }
};

class log_t final : public display_t {
  public:
    explicit log_t(time_point_t begun) : begun_{begun} {}

    void changed(const unit_view_t& unit, time_point_t now) override {
        auto& shown = shown_[&unit];
        const auto word = word_for(unit);
        const int step = std::max(unit.value, 0) / tenth;
        if (shown.word == word && (shown.step == step || now - shown.at < between_lines)) {
            return;
        }
        shown = {std::string{word}, step, now};
        const auto percent = unit.value < 0 ? "" : " " + std::to_string(unit.value) + " %";
        print(unit, percent + (unit.detail.empty() ? "" : ", " + unit.detail), now);
    }
    void ended(const unit_view_t& unit, time_point_t now) override {
        print(unit, unit.reason.empty() ? "" : ": " + unit.reason, now);
    }
    void finish(const std::vector<const unit_view_t*>& units, time_point_t now) override {
        std::printf("\n");
        print_summary(units, now);
    }

  private:
    struct shown_t {
        std::string word;
        int step{};
        time_point_t at;
    };

    void print(const unit_view_t& unit, const std::string& rest, time_point_t now) const {
        const auto word = word_for(unit);
        const std::chrono::duration<double> time = now - begun_;
        std::printf("%8.2f s  %s %.*s%s\n", time.count(), filled(unit.name, usual_name).c_str(),
                    size_of(word), word.data(), rest.c_str());
        std::fflush(stdout);
    }

    time_point_t begun_;
    std::map<const unit_view_t*, shown_t> shown_;
};

class json_t final : public display_t {
  public:
    explicit json_t(bool with_progress) : with_progress_{with_progress} {}

    void changed(const unit_view_t& unit, time_point_t /*now*/) override {
        if (with_progress_) {
            print(unit, "progress");
        }
    }
    void ended(const unit_view_t& unit, time_point_t /*now*/) override { print(unit, "outcome"); }
    void finish(const std::vector<const unit_view_t*>& /*units*/, time_point_t /*now*/) override {}

  private:
    void print(const unit_view_t& unit, std::string_view event) {
        buffer_.Clear();
        rapidjson::Writer<rapidjson::StringBuffer> line{buffer_};
        line.StartObject();
        member(line, "unit", unit.name);
        member(line, "event", event);
        member(line, "stage", name_of(unit.stage));
        line.Key("value");
        line.Int(unit.value);
        if (unit.outcome) {
            member(line, "outcome", name_of(*unit.outcome));
            member(line, "reason", unit.reason);
        } else {
            member(line, "detail", unit.detail);
        }
        line.EndObject();
        std::puts(buffer_.GetString());
        std::fflush(stdout);
    }
    static void member(rapidjson::Writer<rapidjson::StringBuffer>& line, std::string_view key,
                       std::string_view value) {
        line.Key(key.data(), static_cast<rapidjson::SizeType>(key.size()));
        line.String(value.data(), static_cast<rapidjson::SizeType>(value.size()));
    }

    bool with_progress_;
    rapidjson::StringBuffer buffer_;
};

}  // namespace

std::unique_ptr<display_t> make_display(const options_t& options, std::vector<const unit_view_t*> units,
                                        display_t::time_point_t now) {
    if (options.json) {
        return make_json(options.progress);
    }
    if (!options.progress) {
        return std::make_unique<quiet_t>();
    }
    return ::isatty(STDOUT_FILENO) != 0 ? make_bars(std::move(units)) : make_log(now);
}

std::unique_ptr<display_t> make_log(display_t::time_point_t now) {
    return std::make_unique<log_t>(now);
}

std::unique_ptr<display_t> make_json(bool with_progress) {
    return std::make_unique<json_t>(with_progress);
}

void print_summary(const std::vector<const unit_view_t*>& units, display_t::time_point_t now) {
    const std::string title = "unit";
    auto widest = title.size();
    std::map<firmware::push_outcome_e, int> counts;
    for (const auto* unit : units) {
        widest = std::max(widest, width_of(unit->name));
        ++counts[unit->outcome.value()];
    }
    std::printf("%s  %-20s  %6s\n", filled(title, widest).c_str(), "outcome", "time");
    for (const auto* unit : units) {
        const auto word = word_for(*unit);
        std::printf("%s  %-20.*s  %6s%s%s\n", filled(unit->name, widest).c_str(), size_of(word), word.data(),
                    minutes(unit->time(now)).c_str(), unit->reason.empty() ? "" : "  ", unit->reason.c_str());
    }
    std::string line;
    for (const auto& [outcome, count] : counts) {
        line += (line.empty() ? "" : ", ") + std::to_string(count) + " " + std::string{name_of(outcome)};
    }
    std::printf("\n%zu unit%s: %s\n", units.size(), units.size() == 1 ? "" : "s", line.c_str());
    std::fflush(stdout);
}

}  // namespace fwpush
