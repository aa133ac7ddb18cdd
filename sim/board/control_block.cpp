#include "sim/board/control_block.h"

#include "sim/root/violations.h"

#include <cmath>
#include <memory>

namespace sim {

namespace {

void register_violation(const char* what, std::uint32_t value) {
    report_violation(std::string{"unit registers: "} + what + ' ' + std::to_string(value));
}

bool bit(std::uint32_t word, unsigned position) {
    return (word >> position & 1U) != 0;
}

/// The number in the low `width` bits of a word, two's complement.
std::int32_t signed_low(std::uint32_t word, unsigned width) {
    const auto unused = 32 - width;
    return static_cast<std::int32_t>(word << unused) >> unused;
}

/// The sensor and its controller in one, since the controller only refers to what hangs on its wires.
class sensor_block_t : public device_t {
  public:
    explicit sensor_block_t(control_block_state_t& state)
        : sensor_{state.sensor}, controller_{sensor_, state.sensor_link} {}

    std::uint32_t read32(std::uint32_t offset) override { return controller_.read32(offset); }
    void write32(std::uint32_t offset, std::uint32_t value) override { controller_.write32(offset, value); }
    [[nodiscard]] std::vector<std::uint32_t> readable() const override { return controller_.readable(); }

  private:
    temperature_sensor_t sensor_;
    spi_controller_t controller_;
};

}  // namespace

std::uint32_t unit_registers_t::read32(std::uint32_t offset) {
    switch (offset) {
    case 0x00:
        return fpga_id_;
    case 0x04:
        return state_.enables_register | state_.revision << 24;
    case 0x0C:
        return state_.status_input ? 1U << 2 : 0;
    case 0x10:
        return state_.alert_register;
    case 0x1C:
        return state_.level_register | (state_.input_lines & 0x1F) << 18;
    default:
        return device_t::read32(offset);
    }
}

void unit_registers_t::write32(std::uint32_t offset, std::uint32_t value) {
    switch (offset) {
    case 0x04:
        return write_enables(value);
    case 0x08:
        if (value != 0xF00 && value != 0x8000) {
            register_violation("unknown command", value);
        }
        state_.last_command = value;
        return;
    case 0x10:
        return write_alert(value);
    case 0x18:
        if (value > 1) {
            register_violation("pulse register takes 0 or 1, not", value);
        }
        state_.pulses += state_.pulse_begun && value == 0 ? 1 : 0;
        state_.pulse_begun = value != 0;
        return;
    case 0x1C:
        return write_level(value);
    default:
        device_t::write32(offset, value);
    }
}

// The read-only bits of a register are written back by whoever changes the others.
void unit_registers_t::write_enables(std::uint32_t value) {
    constexpr std::uint32_t outputs = 1U << 0 | 1U << 11 | 1U << 13;
    if ((value & ~(outputs | 0xFF00'0000U)) != 0) {
        register_violation("enables that do not exist,", value);
    }
    state_.enables_register = value & outputs;
    state_.outputs[0] = bit(value, 0);
    state_.outputs[1] = bit(value, 11);
    state_.outputs[2] = bit(value, 13);
}

void unit_registers_t::write_alert(std::uint32_t value) {
    if ((value & 0xFE00'0000U) != 0) {
        register_violation("alert bits that do not exist,", value);
    }
    state_.alert_register = value;
    // A phase accumulator of 25 bits runs at the clock of 133.333334 MHz.
    state_.alert_hz = (value & 0xFFF) * 133'333'334.0 / 33'554'432.0;
    state_.alert_duty = 0.5 + signed_low(value >> 12, 12) / 4096.0;
    state_.alert_on = bit(value, 24);
}

void unit_registers_t::write_level(std::uint32_t value) {
    constexpr std::uint32_t writable = 0xFFFFU | 1U << 17;
    if ((value & ~(writable | 0x1FU << 18)) != 0) {
        register_violation("level bits that do not exist,", value);
    }
    state_.level_register = value & writable;
    state_.level = signed_low(value, 16) / 32768.0;
    state_.level_output = bit(value, 17);
}

std::uint32_t fan_and_lamp_block_t::read32(std::uint32_t offset) {
    if (offset != 12 && offset != 20) {
        return device_t::read32(offset);
    }
    // Two pulses a revolution; half of the ticks between two of them, and bit 20 when that was too many.
    constexpr std::uint32_t overflow = 1U << 20;
    const double rpm = state_.fan_rpm[offset == 12 ? 0 : 1];
    const double ticks = rpm > 0 ? clock_hz_ / (rpm / 60 * 2) : 1e12;
    const auto counted = static_cast<std::uint64_t>(ticks / 2);
    return static_cast<std::uint32_t>(counted < overflow ? counted : counted % overflow | overflow);
}

void fan_and_lamp_block_t::write32(std::uint32_t offset, std::uint32_t value) {
    const unsigned which = offset == 16 || offset == 32 ? 1 : 0;
    switch (offset) {
    case 8:
    case 16:
        if (value > 0x7FFFF) {
            register_violation("fan drive of more than 19 bits,", value);
        }
        state_.fan_drive[which] = signed_low(value, 18) / 131072.0;
        state_.fan_fixed[which] = bit(value, 18);
        return;
    case 24:
    case 32:
        if (value > 0x3FFFF) {
            register_violation("lamp brightness of more than 18 bits,", value);
        }
        state_.lamp[which] = (signed_low(value, 18) + 131072) / 262144.0;
        return;
    default:
        device_t::write32(offset, value);
    }
}

void plug_control_block(fpga_t& board, std::uint32_t fpga_id, double clock_hz, control_block_state_t& state) {
    board.plug(0, unit_registers_t::block_length, std::make_shared<unit_registers_t>(fpga_id, state));
    board.plug(0x10'0000, fan_and_lamp_block_t::block_length,
               std::make_shared<fan_and_lamp_block_t>(clock_hz, state));
    board.plug(0x14'0000, spi_controller_t::block_length, std::make_shared<sensor_block_t>(state));
}

}  // namespace sim
