#pragma once

#include "io/register_field.h"

#include <cstddef>
#include <cstdint>

/// Registers of the unit that do not belong to a display: byte offsets, 32-bit words.
namespace io::control_regs {

// Unit registers, from the start of the FPGA region.

/// rw: each enable is changed alone.
inline constexpr std::size_t enables = 0x04;
inline constexpr field_t enable_a{0, 0};
inline constexpr field_t enable_b{11, 11};
inline constexpr field_t enable_c{13, 13};
inline constexpr field_t hardware_revision{24, 31};  // r
static_assert(disjoint(enable_a, enable_b, enable_c, hardware_revision));

/// w: one of two commands.
inline constexpr std::size_t command = 0x08;
inline constexpr std::uint32_t command_a = 0xF00;
inline constexpr std::uint32_t command_b = 0x8000;

/// r
inline constexpr std::size_t status = 0x0C;
inline constexpr field_t status_input{2, 2};

/// rw: the alert output.
inline constexpr std::size_t alert = 0x10;
inline constexpr field_t alert_frequency{0, 11};    // steps of 133.333334 MHz / 2^25
inline constexpr field_t alert_duty_cycle{12, 23};  // two's complement about one half
inline constexpr field_t alert_enable{24, 24};
static_assert(disjoint(alert_frequency, alert_duty_cycle, alert_enable));

/// w: 1 and then 0 make a pulse.
inline constexpr std::size_t pulse = 0x18;

/// rw level and output, r inputs.
inline constexpr std::size_t level = 0x1C;
inline constexpr field_t level_value{0, 15};  // offset binary
inline constexpr field_t level_output{17, 17};
inline constexpr field_t level_reading{18, 22};  // the five inputs below as one number
inline constexpr field_t input_present_a{18, 18};
inline constexpr field_t input_present_b{19, 19};
inline constexpr field_t input_fault_a{20, 20};
inline constexpr field_t input_fault_b{21, 21};
inline constexpr field_t input_active_low{22, 22};
static_assert(disjoint(level_value, level_output, level_reading));

// Fan and lamp block, from the start of the FPGA region as well.

/// w: fan drive, one word a fan.
inline constexpr std::size_t fan_drive[] = {0x10'0008, 0x10'0010};
inline constexpr field_t fan_drive_value{0, 17};  // two's complement, full speed at its largest
inline constexpr field_t fan_drive_fixed{18, 18};
static_assert(disjoint(fan_drive_value, fan_drive_fixed));
/// r: tachometer, one word a fan.
inline constexpr std::size_t fan_tachometer[] = {0x10'000C, 0x10'0014};
/// w: lamp brightness, one word a lamp; offset binary of 18 bits.
inline constexpr std::size_t lamp_brightness[] = {0x10'0018, 0x10'0020};

// Controller block: the SPI controller with the temperature sensor.

inline constexpr std::size_t controller_block = 0x14'0000;

// I/O shared region, from the start of area C.

inline constexpr std::size_t shared_status = 0x59C4;       // three words, the last two being system_t's
inline constexpr std::size_t shared_temperature = 0x5A38;  // degrees Celsius, 32-bit IEEE float

}  // namespace io::control_regs
