#include "sim/programs/small_program.h"
#include "sim/root/violations.h"
#include "sim/unit/scenario_player.h"
#include "sim/unit/unit.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

namespace {

using namespace std::chrono_literals;

constexpr const char* help = R"(usage: soak [MINUTES [SCENARIO]]

Plays updates one after the other on a unit with an LCD (10 minutes; scenario "update"), the daemon at its full
rate, and counts what it takes and what it loses.

Exit status: 0 when nothing grew and nothing was lost, 1 otherwise, 2 for wrong usage.
)";

constexpr long tolerated_growth_kb = 256;

/// What the daemon holds: at the start and at the end, and the most in between.
class gauge_t {
  public:
    explicit gauge_t(const char* name) : name_{name} {}

    void take(long value) {
        start_ = start_ < 0 ? value : start_;
        end_ = value;
        note(value);
    }
    void note(long value) { peak_ = std::max(peak_, value); }
    [[nodiscard]] long growth() const { return end_ - start_; }
    void print() const { std::printf("  %-20s %8ld %8ld %8ld\n", name_, start_, end_, peak_); }

  private:
    const char* name_;
    long start_ = -1;
    long end_ = 0;
    long peak_ = 0;
};

class soak_t {
  public:
    explicit soak_t(const std::string& scenario)
        : scenario_{sim::load_scenario(scenario)}, unit_{sim::unit_builder_t{"base-unit"}.start()} {}

    void run(std::chrono::duration<double> duration) {
        play();  // until every buffer has its size
        measure();
        start_ = std::chrono::steady_clock::now();
        passes_at_start_ = unit_->status().counters().rewrites;
        while (elapsed() < duration) {
            play();
            measure();
        }
        seconds_ = elapsed().count();
        std::this_thread::sleep_for(500ms);  // what is under way to the notification service
    }

    /// @return the number of things that are wrong.
    int report() {
        const auto counters = unit_->status().counters();
        const auto counts = unit_->notifications().counts();
        const auto passes = counters.rewrites - passes_at_start_;
        const auto received = static_cast<long>(std::min(counts.states, counts.progresses));
        const auto lost = std::max(0L, counters.active_rewrites - received);
        std::printf("soak: %.1f minutes, %ld updates\n\n", seconds_ / 60, plays_);
        std::printf("  %-20s %8s %8s %8s\n", "", "start", "end", "peak");
        descriptors_.print();
        resident_kb_.print();
        std::printf("\n");
        std::printf("  %-20s %8ld  (%.1f a second)\n", "passes", passes, double(passes) / seconds_);
        std::printf("  %-20s %8ld  of them short or empty: %ld\n", "file reads", counters.reads,
                    counters.short_reads);
        std::printf("  %-20s %8ld  lost: %ld of %ld active passes\n", "notified passes", received, lost,
                    counters.active_rewrites);
        std::printf("  %-20s %8ld\n\n", "notified updates", static_cast<long>(counts.begins));

        expect(unit_->daemon().is_running(), "the daemon is gone");
        expect(descriptors_.growth() <= 0, "it holds more descriptors than before");
        expect(resident_kb_.growth() <= tolerated_growth_kb, "its memory grows");
        // Whether a pass at a change of state was an active one is a guess, of one either way.
        expect(lost <= 2 * plays_, "notifications were lost");
        expect(static_cast<long>(counts.begins) == plays_, "updates went unannounced");
        expect(counts.garbage_bytes == 0, "bytes came that notify of nothing");
        expect(sim::violations().empty(), "a device was misused: " + sim::violations());
        std::printf("%s", faults_ == 0 ? "  Nothing grew, nothing was lost.\n" : "");
        return faults_;
    }

  private:
    [[nodiscard]] std::chrono::duration<double> elapsed() const {
        return std::chrono::steady_clock::now() - start_;
    }

    void play() {
        sim::play(scenario_, 1, *unit_, {.meanwhile = [this](auto) {
                      descriptors_.note(unit_->daemon().open_descriptors());
                      resident_kb_.note(unit_->daemon().resident_bytes() / 1024);
                  }});
        ++plays_;
    }

    void measure() {
        descriptors_.take(unit_->daemon().lasting_descriptors());
        resident_kb_.take(unit_->daemon().resident_bytes() / 1024);
    }

    void expect(bool holds, const std::string& fault) {
        if (!holds) {
            std::printf("  WRONG: %s\n", fault.c_str());
            ++faults_;
        }
    }

    sim::scenario_t scenario_;
    std::unique_ptr<sim::unit_t> unit_;
    gauge_t descriptors_{"descriptors"};
    gauge_t resident_kb_{"resident memory, kB"};
    std::chrono::steady_clock::time_point start_;
    double seconds_ = 0;
    long passes_at_start_ = 0;
    long plays_ = 0;
    int faults_ = 0;
};

int run(const sim::small_program_t::words_t& words) {
    double minutes = 10;
    if (!words.empty()) {
        char* end = nullptr;
        minutes = std::strtod(words.front().c_str(), &end);
        if (*end != '\0' || !(minutes > 0)) {
            throw sim::wrong_usage_t{"\"" + words.front() + "\" is no number of minutes"};
        }
    }
    soak_t soak{words.size() > 1 ? words.back() : "update"};
    soak.run(std::chrono::duration<double>{minutes * 60});
    return soak.report() == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    return sim::run_program({"soak", help, 2, run}, argc, argv);
}
