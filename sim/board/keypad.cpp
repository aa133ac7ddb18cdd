#include "sim/board/keypad.h"

#include "sim/root/violations.h"

#include <array>
#include <string>

namespace sim {

spi_bits_t keypad_t::exchange(const spi_bits_t& sent, std::uint32_t bit_rate, unsigned mode) {
    constexpr std::uint32_t poll_command = 0xA2;
    constexpr std::uint32_t led_command = 0xA0;
    spi_bits_t answer{sent.size()};
    if (bit_rate > 50'000 || bit_rate < 25'000 || mode != 0) {
        report_violation("keypad: SPI at " + std::to_string(bit_rate) + " bit/s, mode " +
                         std::to_string(mode));
    }
    if (!controller_.runs_firmware()) {
        return answer;
    }
    const auto command = sent.number(0, 8);
    if (command == poll_command && sent.size() == 24 && sent.number(8, 16) == 0) {
        const auto event = face_.event_waits() ? face_.take_event() : keypad_face_state_t::event_t{};
        answer.set_number(16, 8, (event.pressed ? 0x40u : 0u) | event.key);
    } else if (command == led_command && sent.size() == 88) {
        set_leds(sent);
    } else {
        report_violation("keypad: frame of " + std::to_string(sent.size()) + " bits, command " +
                         std::to_string(command) + ", not understood");
        return answer;
    }
    answer.set_number(0, 8, face_.answer);
    return answer;
}

void keypad_t::set_leds(const spi_bits_t& sent) {
    constexpr unsigned bank_bits = 40;
    unsigned bank_start = 8;
    for (auto* const leds : {&face_.leds_a, &face_.leds_b}) {
        for (unsigned i = 0; i < leds->size(); ++i) {
            const auto byte = i == 32 ? 4 : i % 4;
            const auto bit = i == 32 ? 0 : i / 4;
            (*leds)[i] = sent[bank_start + 8 * byte + 7 - bit];
        }
        if (sent.number(bank_start + 32, 7) != 0) {
            report_violation("keypad: LEDs beyond the last one");
        }
        bank_start += bank_bits;
    }
    ++face_.led_updates;
}

}  // namespace sim
