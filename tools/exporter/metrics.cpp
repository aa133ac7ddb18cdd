#include "tools/exporter/metrics.h"

#include "firmware/update_state.h"

#include <algorithm>
#include <array>
#include <iomanip>
#include <locale>
#include <sstream>
#include <string_view>

namespace exporter {

namespace {

using firmware::update_state_e;

constexpr std::array states{update_state_e::idle,     update_state_e::initializing,
                            update_state_e::fw_write, update_state_e::fpga_write,
                            update_state_e::complete, update_state_e::error};

std::ostringstream text_stream() {
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << std::fixed;
    return text;
}

void begin_metric(std::ostream& text, std::string_view name, std::string_view type, std::string_view help) {
    text << "# HELP " << name << ' ' << help << "\n# TYPE " << name << ' ' << type << '\n';
}

void put_status(std::ostream& text, const firmware::status_answer_t& status) {
    begin_metric(text, "fwstatus_update_state", "gauge", "1 for the state of the unit's firmware update.");
    bool known = false;
    for (const auto state : states) {
        const auto name = firmware::machine_name(state);
        known = known || name == status.state;
        text << "fwstatus_update_state{state=\"" << name << "\"} " << (name == status.state) << '\n';
    }
    text << "fwstatus_update_state{state=\"other\"} " << !known << '\n';
    if (status.progress >= 0) {
        begin_metric(text, "fwstatus_update_progress_ratio", "gauge",
                     "How far the update is, from 0 to 1; stays where it was when the update has ended.");
        text << "fwstatus_update_progress_ratio " << std::setprecision(2) << status.progress / 100.0 << '\n';
    }
}

}  // namespace

std::string unit_metrics(const probe_result_t& result) {
    auto text = text_stream();
    begin_metric(text, "fwstatus_up", "gauge", "1 when the unit answered with its update's status.");
    text << "fwstatus_up " << result.status.has_value() << '\n';
    if (result.status) {
        put_status(text, *result.status);
    } else {
        text << "# " << result.problem << '\n';
    }
    begin_metric(text, "fwstatus_probe_duration_seconds", "gauge", "How long asking the unit took.");
    text << "fwstatus_probe_duration_seconds " << std::setprecision(6) << result.duration.count() << '\n';
    return text.str();
}

std::string own_metrics(const counters_t& counters) {
    auto text = text_stream();
    begin_metric(text, "fwstatus_exporter_probes_total", "counter",
                 "Questions to units, by what became of them.");
    const std::array<std::pair<std::string_view, std::uint64_t>, 4> results{
        {{"up", counters.up},
         {"down", counters.down},
         {"refused", counters.refused},
         {"overload", counters.overload}}};
    for (const auto& [result, count] : results) {
        text << "fwstatus_exporter_probes_total{result=\"" << result << "\"} " << count << '\n';
    }
    begin_metric(text, "fwstatus_exporter_probes_running", "gauge", "Questions to units under way.");
    text << "fwstatus_exporter_probes_running " << counters.running << '\n';
    return text.str();
}

}  // namespace exporter
