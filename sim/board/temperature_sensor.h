#pragma once

#include "sim/board/spi_peer.h"

namespace sim {

/// The unit's temperature sensor: sends its reading as 14 bits, two's complement in steps of 1/32 degree,
/// followed by two bits that are always set. Clock up to 10 MHz, mode 0, 16 bits a frame.
class temperature_sensor_t : public spi_peer_t {
  public:
    struct state_t {
        double celsius = 25;
        std::uint32_t status_bits = 0b11;
        bool fitted = true;  ///< without the sensor nothing drives the line: all bits read 0
    };

    explicit temperature_sensor_t(state_t& state) : state_{state} {}

    spi_bits_t exchange(const spi_bits_t& sent, std::uint32_t bit_rate, unsigned mode) override;

  private:
    state_t& state_;
};

}  // namespace sim
