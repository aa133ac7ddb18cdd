#include "sim/unit/troubles.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>

namespace sim {

troubles_t::troubles_t(unit_t& unit, const std::vector<const fault_t*>& faults) : unit_{unit} {
    for (const auto* const fault : faults) {
        troubles_.push_back({fault, std::nullopt, std::nullopt});
    }
}

void troubles_t::follow(time_t now, time_t duration) {
    const auto phase = std::min<std::int64_t>(3 * now / std::max(duration, time_t{1}), 2);
    while (phase_ < phase) {
        ++phase_;
        const auto troubles = troubles_;
        for (const auto& trouble : troubles) {
            if (trouble.fault->begin != nullptr) {
                phase_ == 1 ? begin(*trouble.fault, now) : end(*trouble.fault, now);
            }
        }
    }
}

void troubles_t::begin(const fault_t& fault, time_t now) {
    const auto waits = std::ranges::find_if(
        troubles_, [&](const auto& trouble) { return trouble.fault == &fault && !trouble.began; });
    if (waits == troubles_.end()) {
        troubles_.push_back({&fault, now, std::nullopt});
    } else {
        waits->began = now;
    }
    fault.begin(unit_);
}

void troubles_t::end(const fault_t& fault, time_t now) {
    for (auto& trouble : troubles_) {
        if (trouble.fault == &fault && trouble.began && !trouble.ended) {
            trouble.ended = now;
            fault.end(unit_);
        }
    }
}

bool troubles_t::is_on(const fault_t& fault) const {
    return std::ranges::any_of(troubles_, [&](const auto& trouble) {
        return trouble.fault == &fault && trouble.began && !trouble.ended;
    });
}

works_t troubles_t::worked_throughout() const {
    works_t works = works_at_the_end();
    for (const auto& trouble : troubles_) {
        works = works && trouble.fault->works_meanwhile;
    }
    return works;
}

works_t troubles_t::works_at_the_end() const {
    works_t works;
    for (const auto& trouble : troubles_) {
        const bool over = trouble.fault->begin == nullptr || trouble.ended;
        works = works && (over ? trouble.fault->works_after : trouble.fault->works_meanwhile);
    }
    return works;
}

std::vector<std::string> troubles_t::account() const {
    std::vector<std::string> lines;
    for (const auto& [fault, began, ended] : troubles_) {
        const auto when = fault->begin == nullptr ? "throughout"
                          : !began                ? "never began"
                          : ended ? "from " + seconds_text(*began) + " to " + seconds_text(*ended)
                                  : "from " + seconds_text(*began) + " on";
        lines.push_back(std::string{fault->name} + ", " + when);
    }
    return lines;
}

std::string seconds_text(std::chrono::milliseconds time) {
    char text[32];
    std::snprintf(text, sizeof text, "%.2f s", static_cast<double>(time.count()) / 1000);
    return text;
}

}  // namespace sim
