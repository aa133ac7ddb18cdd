#pragma once

#include "sim/board/keypad_state.h"
#include "sim/board/keypad_target.h"
#include "sim/board/spi_peer.h"

#include <cstdint>

namespace sim {

/// The keypad with its firmware running: answers on SPI, mode 0 at up to 50 kbit/s.
///
///     A2 00 00           takes one key event; answer: 42, any, bit 6 pressed and bits 0-5 the key
///     A0, 5 + 5 bytes    sets the LEDs of bank A and B; answer: 42, any
///
/// LED n of a bank is bit n / 4 of its byte n % 4, LED 32 bit 0 of the last byte. A controller that does not
/// run its firmware answers zeros.
class keypad_t : public spi_peer_t {
  public:
    keypad_t(keypad_face_state_t& face, const keypad_target_t& controller)
        : face_{face}, controller_{controller} {}

    spi_bits_t exchange(const spi_bits_t& sent, std::uint32_t bit_rate, unsigned mode) override;

    /// The level of the event line.
    [[nodiscard]] bool event_waits() const { return controller_.runs_firmware() && face_.event_waits(); }

  private:
    void set_leds(const spi_bits_t& sent);

    keypad_face_state_t& face_;
    const keypad_target_t& controller_;
};

}  // namespace sim
