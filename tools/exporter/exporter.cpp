#include "tools/exporter/exporter.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace exporter {

namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;

// What an answer takes on its way back to Prometheus.
constexpr auto margin = 200ms;
constexpr auto least = 100ms;

}  // namespace

milliseconds time_for_a_unit(std::string_view scrape_timeout, milliseconds timeout) {
    double seconds{};
    const auto [end, fault] =
        std::from_chars(scrape_timeout.data(), scrape_timeout.data() + scrape_timeout.size(), seconds);
    const std::chrono::duration<double> said{seconds};
    if (fault != std::errc{} || !(said > least && said < timeout + margin)) {
        return timeout;
    }
    return std::max<milliseconds>(std::chrono::duration_cast<milliseconds>(said) - margin, least);
}

exporter_t::exporter_t(const settings_t& settings)
    : settings_{settings}, list_{std::make_shared<allow_list_t>(usual_port(settings.probe))},
      turns_{settings.most_at_once} {}

void exporter_t::allow(allow_list_t list) {
    auto shared = std::make_shared<const allow_list_t>(std::move(list));
    const std::scoped_lock locked{list_lock_};
    list_ = std::move(shared);
}

bool exporter_t::allows(const target_t& target) const {
    std::unique_lock locked{list_lock_};
    const auto list = list_;
    locked.unlock();
    return list->allows(target);
}

exporter_t::answer_t exporter_t::probe(std::string_view target, std::string_view scrape_timeout) {
    const auto begin = std::chrono::steady_clock::now();
    const auto parsed = parse_target(target, usual_port(settings_.probe));
    if (!parsed) {
        ++counters_.refused;
        return {400, "The parameter \"target\" has to be a unit's name or address, with or without :PORT.\n"};
    }
    if (!allows(*parsed)) {
        ++counters_.refused;
        return {403,
                parsed->authority() + " is not among the units that may be asked (--allow, --allow-file).\n"};
    }
    const auto time = time_for_a_unit(scrape_timeout, settings_.timeout);
    if (!turns_.try_acquire_until(begin + time / 2)) {
        ++counters_.overload;
        return {503,
                std::to_string(settings_.most_at_once) + " units are being asked already (--concurrency).\n"};
    }
    ++counters_.running;
    const auto result = exporter::probe(*parsed, settings_.probe, begin + time);
    --counters_.running;
    turns_.release();
    ++(result.status ? counters_.up : counters_.down);
    return {200, unit_metrics(result)};
}

}  // namespace exporter
