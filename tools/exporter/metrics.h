#pragma once

#include "tools/exporter/unit_probe.h"

#include <atomic>
#include <cstdint>
#include <string>

namespace exporter {

/// What has become of all questions since the start.
struct counters_t {
    std::atomic<std::uint64_t> up;        ///< the unit answered usefully
    std::atomic<std::uint64_t> down;      ///< it did not
    std::atomic<std::uint64_t> refused;   ///< it may not be asked, or there is no such thing
    std::atomic<std::uint64_t> overload;  ///< too many at once
    std::atomic<std::int64_t> running;    ///< under way
};

/// The metrics of one unit in Prometheus's text format. Labels hold no text of the unit's: a state that is
/// none of the daemon's counts as "other". Without a known percentage there is no ratio.
[[nodiscard]] std::string unit_metrics(const probe_result_t& result);

/// The exporter's own.
[[nodiscard]] std::string own_metrics(const counters_t& counters);

}  // namespace exporter
