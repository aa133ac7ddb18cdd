#pragma once

#include "firmware/uploader/status_answer.h"
#include "tools/exporter/target.h"

#include <chrono>
#include <optional>
#include <string>

namespace exporter {

/// What became of asking a unit.
struct probe_result_t {
    std::optional<firmware::status_answer_t> status;  ///< nothing when it did not answer usefully
    std::string problem;                              ///< why not, for people; one line
    std::chrono::duration<double> duration{};         ///< how long it took
};

struct probe_settings_t {
    bool https = false;
    std::string certificates;  ///< file of the authorities to trust with https; empty for the machine's own
};

/// Asks a unit for its status file, bounded in time and size, and follows nothing that the answer says. An
/// answer that is empty or cut off, as a file being rewritten gives now and then, is asked for again.
/// @param deadline  when all of it has to be over. May be called by several threads.
[[nodiscard]] probe_result_t probe(const target_t& target, const probe_settings_t& settings,
                                   std::chrono::steady_clock::time_point deadline);

}  // namespace exporter
