#include "sim/board/temperature_sensor.h"

#include "sim/root/violations.h"

#include <cmath>

namespace sim {

spi_bits_t temperature_sensor_t::exchange(const spi_bits_t& sent, std::uint32_t bit_rate, unsigned mode) {
    if (bit_rate > 10'000'000 || bit_rate < 1'000'000 || mode != 0 || sent.size() != 16) {
        report_violation("temperature sensor: " + std::to_string(sent.size()) + " bits in mode " +
                         std::to_string(mode) + " at " + std::to_string(bit_rate) + " Hz");
    }
    spi_bits_t answer{sent.size()};
    if (state_.fitted && sent.size() == 16) {
        const auto steps = static_cast<std::int32_t>(std::lround(state_.celsius * 32));
        answer.set_number(0, 14, static_cast<std::uint32_t>(steps));
        answer.set_number(14, 2, state_.status_bits);
    }
    return answer;
}

}  // namespace sim
