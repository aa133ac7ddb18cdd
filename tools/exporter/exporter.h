#pragma once

#include "tools/exporter/allow_list.h"
#include "tools/exporter/metrics.h"
#include "tools/exporter/unit_probe.h"

#include <chrono>
#include <memory>
#include <mutex>
#include <semaphore>
#include <string>
#include <string_view>

namespace exporter {

/// How long asking a unit may take: `timeout`, or less where Prometheus waits less, so that the answer is not
/// lost.
/// @param scrape_timeout  how long Prometheus waits, in seconds, as it says in a header; empty when it does
///                        not. What is no number of seconds above 0.1 is not believed.
[[nodiscard]] std::chrono::milliseconds time_for_a_unit(std::string_view scrape_timeout,
                                                        std::chrono::milliseconds timeout);

/// Answers Prometheus's questions about units: which may be asked, how many at once, for how long. Knows
/// nothing of the server in front of it; may be called by several threads.
class exporter_t {
  public:
    struct settings_t {
        probe_settings_t probe;
        std::chrono::milliseconds timeout{5000};  ///< for one unit, waiting for its turn included
        std::ptrdiff_t most_at_once = 32;
    };
    struct answer_t {
        int status;  ///< HTTP's
        std::string text;
    };

    explicit exporter_t(const settings_t& settings);

    /// From now on these units may be asked, and no other.
    void allow(allow_list_t list);

    /// @param target          the unit, as `parse_target` reads it.
    /// @param scrape_timeout  see `time_for_a_unit`.
    [[nodiscard]] answer_t probe(std::string_view target, std::string_view scrape_timeout);

    [[nodiscard]] std::string metrics() const { return own_metrics(counters_); }

    /// The port of a unit named without one.
    [[nodiscard]] static std::uint16_t usual_port(const probe_settings_t& settings) {
        return settings.https ? 443 : 80;
    }

  private:
    [[nodiscard]] bool allows(const target_t& target) const;

    settings_t settings_;
    mutable std::mutex list_lock_;
    std::shared_ptr<const allow_list_t> list_;
    std::counting_semaphore<> turns_;
    counters_t counters_{};
};

}  // namespace exporter
