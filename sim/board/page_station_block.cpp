#include "sim/board/page_station_block.h"

#include "sim/root/violations.h"

#include <memory>
#include <string>
#include <utility>

namespace sim {

namespace {

constexpr std::uint32_t station_spi_offset = 0x400;

// Bits of the line register
constexpr unsigned programming = 0;
constexpr unsigned sclk_drive = 5;
constexpr unsigned sclk = 6;
constexpr unsigned sdata_drive = 9;
constexpr unsigned sdata = 10;
constexpr unsigned xres_drive = 11;
constexpr unsigned xres = 12;
constexpr std::uint32_t line_bits = 0x1E61;

// What the keypad's supply needs to settle.
constexpr std::chrono::milliseconds keypad_reset_time{10};

constexpr std::uint32_t control_outputs = 0x7FE7;

bool in_spi(std::uint32_t offset) {
    return offset >= station_spi_offset && offset - station_spi_offset < spi_controller_t::block_length;
}

}  // namespace

std::uint32_t page_station_block_t::read32(std::uint32_t offset) {
    if (in_spi(offset)) {
        return spi_.read32(offset - station_spi_offset);
    }
    switch (offset) {
    case 0x000:
        return read_control();
    case 0x100:
        return (state_.revision & 0x1Fu) << 4;
    case 0x200:
        return state_.inputs;
    case 0x300: {
        const bool level = line_output(programming) ? target_.look() : keypad_.event_waits();
        return level ? 1u << sdata : 0;
    }
    default:
        return device_t::read32(offset);
    }
}

void page_station_block_t::write32(std::uint32_t offset, std::uint32_t value) {
    if (in_spi(offset)) {
        spi_.write32(offset - station_spi_offset, value);
        return;
    }
    switch (offset) {
    case 0x000:
        write_control(value);
        return;
    case 0x100:
        if (value != 0) {
            report_violation("page station: status written with " + std::to_string(value));
        }
        return;
    case 0x300:
        write_lines(value);
        return;
    default:
        device_t::write32(offset, value);
    }
}

void page_station_block_t::write8(std::uint32_t offset, std::uint8_t value) {
    if (offset != 0x503 && offset != 0x507) {
        device_t::write8(offset, value);
        return;
    }
    lcd_(offset == 0x507, value);
}

std::vector<std::uint32_t> page_station_block_t::readable() const {
    std::vector<std::uint32_t> offsets{0x000, 0x100, 0x200, 0x300};
    add_readable(offsets, station_spi_offset, spi_);
    return offsets;
}

std::uint32_t page_station_block_t::read_control() const {
    return registers_.control | (state_.general_inputs[0] ? 1u << 3 : 0) |
           (state_.general_inputs[1] ? 1u << 4 : 0);
}

void page_station_block_t::write_control(std::uint32_t value) {
    // The two inputs may come back as they were read.
    if ((value & ~(control_outputs | 0x18u)) != 0) {
        report_violation("page station: control bits that mean nothing, " + std::to_string(value));
    }
    registers_.control = value & control_outputs;
    for (unsigned i = 0; i < 3; ++i) {
        state_.general_outputs[i] = (value >> i & 1u) != 0;
    }
    state_.general_outputs[3] = (value >> 14 & 1u) != 0;
    const int level = static_cast<int>(value >> 5 & 0xFFu);
    state_.backlight = level > 127 ? level - 256 : level;
    const bool runs = (value >> 13 & 1u) != 0;
    if (state_.keypad_runs && !runs) {
        registers_.keypad_stopped = std::chrono::steady_clock::now();
    } else if (runs && registers_.keypad_stopped &&
               std::chrono::steady_clock::now() - *std::exchange(registers_.keypad_stopped, {}) <
                   keypad_reset_time) {
        report_violation("page station: keypad held in reset for less than 10 ms");
    }
    state_.keypad_runs = runs;
    update_pins();
}

void page_station_block_t::write_lines(std::uint32_t value) {
    const auto changed = value ^ registers_.lines;
    if ((value & ~line_bits) != 0) {
        report_violation("page station: line bits that mean nothing, " + std::to_string(value));
    }
    // Without programming switched on the lines lead nowhere; only what is switched off may change then.
    if ((value & 1u) == 0 && (registers_.lines & 1u) == 0 && (changed & value) != 0) {
        report_violation("page station: keypad lines used while programming is off");
    }
    registers_.lines = value;
    update_pins();
}

void page_station_block_t::update_pins() {
    const bool on = line_output(programming);
    keypad_target_t::pins_t pins;
    pins.reset = !state_.keypad_runs || (on && line_output(xres_drive) && line_output(xres));
    pins.sclk = on && line_output(sclk_drive) && line_output(sclk);
    if (on && line_output(sdata_drive)) {
        pins.sdata = line_output(sdata);
    }
    target_.set_pins(pins);
}

void plug_page_station(fpga_t& board, page_station_state_t& state, page_station_registers_t& registers,
                       page_station_block_t::lcd_t lcd) {
    board.plug(0x20'0000, page_station_block_t::block_length,
               std::make_shared<page_station_block_t>(state, registers, std::move(lcd)));
}

}  // namespace sim
