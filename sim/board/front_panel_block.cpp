#include "sim/board/front_panel_block.h"

#include "sim/board/clock.h"
#include "sim/root/violations.h"

#include <string>
#include <string_view>

namespace sim {

namespace {

constexpr std::uint32_t panel_spi_offset = 0x100;

// What is on the wire when a byte, or two of them, go to the LCD: 0 and 1 are fixed, "h" and "l" are the bits
// of the first and the second byte, "a" says whether the first one is data.
constexpr std::string_view one_lcd_byte = "10hhhhhhhha0010001";
constexpr std::string_view two_lcd_bytes = "10hhhhhhhha00100010lllllllla00100"
                                           "10";

struct lcd_bytes_t {
    bool understood = true;
    bool is_data = true;
    std::uint8_t first = 0;
    std::uint8_t second = 0;
};

lcd_bytes_t match(std::string_view shape, const spi_bits_t& sent) {
    lcd_bytes_t found;
    for (unsigned i = 0; i < shape.size(); ++i) {
        const bool bit = sent[i];
        switch (shape[i]) {
        case 'h':
            found.first = static_cast<std::uint8_t>(found.first << 1 | (bit ? 1 : 0));
            break;
        case 'l':
            found.second = static_cast<std::uint8_t>(found.second << 1 | (bit ? 1 : 0));
            break;
        case 'a':
            found.is_data = found.is_data && bit;
            break;
        default:
            found.understood = found.understood && bit == (shape[i] == '1');
            break;
        }
    }
    return found;
}

void panel_violation(const std::string& what) {
    report_violation("front panel: " + what);
}

}  // namespace

spi_bits_t front_panel_wires_t::exchange(const spi_bits_t& sent, std::uint32_t bit_rate, unsigned mode) {
    if (mode != 0) {
        panel_violation("SPI mode " + std::to_string(mode));
    }
    if (!state_.present) {
        return spi_bits_t{sent.size()};  // the return line is pulled down
    }
    const auto size = sent.size();
    const bool to_lcd = size == one_lcd_byte.size() || size == two_lcd_bytes.size();
    if (const auto most = to_lcd ? 30'500'000u : 10'500'000u; bit_rate > most || bit_rate < most / 2) {
        panel_violation(std::to_string(bit_rate) + " bits per second are too " +
                        (bit_rate > most ? "fast" : "slow"));
    }
    if (size == 12 && sent.number(0, 12) == 0xC00) {
        return status(size);
    }
    if (size == 49 && !sent[0]) {
        latch_leds(sent);
    } else if (!to_lcd || !take_lcd_bytes(sent)) {
        panel_violation("a transfer of " + std::to_string(size) + " bits that begins with " +
                        std::to_string(sent.number(0, 8)));
    }
    return spi_bits_t{size};
}

spi_bits_t front_panel_wires_t::status(unsigned size) const {
    // Three buttons from the highest to the lowest, a free bit, the presence of a revision, its code.
    spi_bits_t answer{size};
    answer.set_number(3, 3, ~state_.pressed_buttons & 7u);
    answer.set(7, state_.tells_revision);
    answer.set_number(8, 4, state_.revision_code);
    return answer;
}

bool front_panel_wires_t::take_lcd_bytes(const spi_bits_t& sent) {
    const bool two = sent.size() == two_lcd_bytes.size();
    const auto bytes = match(two ? two_lcd_bytes : one_lcd_byte, sent);
    if (!bytes.understood || (two && !bytes.is_data)) {
        return false;
    }
    if (state_.lcd_in_reset || !state_.lcd_was_reset) {
        panel_violation(state_.lcd_in_reset ? "a byte for the LCD while it is held in reset"
                                            : "a byte for the LCD before a reset long enough");
        return true;
    }
    glass_.take(bytes.is_data, bytes.first);
    if (two) {
        glass_.take(true, bytes.second);
    }
    return true;
}

void front_panel_wires_t::latch_leds(const spi_bits_t& sent) {
    // The drivers are chained: what is sent first ends up in the last of them.
    for (unsigned driver = 0; driver < 3; ++driver) {
        state_.led_drivers[driver] = static_cast<std::uint16_t>(sent.number(33 - 16 * driver, 16));
    }
    ++state_.led_updates;
}

void front_panel_wires_t::hold_lcd_in_reset(bool held) {
    constexpr std::int64_t shortest_pulse_us = 1000;
    if (held && !state_.lcd_in_reset) {
        glass_.reset();
        state_.lcd_reset_since_us = now_us();
    } else if (!held && state_.lcd_in_reset) {
        state_.lcd_was_reset = now_us() - state_.lcd_reset_since_us >= shortest_pulse_us;
    }
    state_.lcd_in_reset = held;
}

std::uint32_t front_panel_block_t::read32(std::uint32_t offset) {
    if (offset >= panel_spi_offset) {
        return spi_.read32(offset - panel_spi_offset);
    }
    return offset == 0 ? state_.control : device_t::read32(offset);
}

std::vector<std::uint32_t> front_panel_block_t::readable() const {
    std::vector<std::uint32_t> offsets{0};
    add_readable(offsets, panel_spi_offset, spi_);
    return offsets;
}

void front_panel_block_t::write32(std::uint32_t offset, std::uint32_t value) {
    if (offset >= panel_spi_offset) {
        spi_.write32(offset - panel_spi_offset, value);
        return;
    }
    if (offset != 0) {
        device_t::write32(offset, value);
        return;
    }
    if ((value & ~0x1FFu) != 0) {
        panel_violation("control bits that mean nothing: " + std::to_string(value));
    }
    state_.control = value;
    state_.backlight = static_cast<std::int8_t>(value & 0xFF);
    wires_.hold_lcd_in_reset((value & 0x100) != 0);
}

}  // namespace sim
