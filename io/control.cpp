#include "io/control.h"

#include "io/control_regs.h"
#include "io/driver_log.h"
#include "io/mmio.h"
#include "io/platform_tables.h"
#include "io/refusal.h"
#include "io/sysfs_file.h"
#include "platform/paths.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <span>
#include <string>

namespace io {

namespace regs = control_regs;
namespace boards = platform_tables;

namespace {

constexpr const char* gpio_line = "113";

bool platform_is_one_of(std::span<const boards::platform_id_t> ids) {
    return std::ranges::find(ids, system_t::platform_id()) != ids.end();
}

bool has_gpio_line() {
    return platform_is_one_of(boards::with_gpio_line);
}

std::optional<int> read_gpio_line() {
    const auto value =
        sysfs_file::read_integer(std::string{zel::paths::gpio_line_prefix} + gpio_line + "/value");
    if (!value) {
        error() << "driver_lib::io_control_t -- could not read gpio value file";
    }
    return value;
}

bool read_register(std::size_t offset, std::uint32_t& word) {
    if (!system_t::ready()) {
        return false;
    }
    word = mmio::read32(system_t::fpga_base() + offset);
    return true;
}

bool write_register(std::size_t offset, std::uint32_t word) {
    if (!system_t::ready()) {
        return false;
    }
    mmio::write32(system_t::fpga_base() + offset, word);
    return true;
}

bool change_register(std::size_t offset, field_t field, std::uint32_t value) {
    std::uint32_t word = 0;
    return read_register(offset, word) && write_register(offset, field.set(word, value));
}

bool read_bit(std::size_t offset, field_t field, bool& state) {
    std::uint32_t word = 0;
    if (!read_register(offset, word)) {
        return false;
    }
    state = field.get(word) != 0;
    return true;
}

}  // namespace

bool control_t::initialise(bool /*full*/) {
    if (has_gpio_line()) {
        return initialise_gpio();
    }
    if (!ready()) {
        return refuse("FPGA base address not initialized");
    }
    shared_status_ = shared_area_c() + regs::shared_status;
    return spi_.set_base(fpga_base() + regs::controller_block);
}

// A line that is still exported from an earlier run is given back first.
bool control_t::initialise_gpio() {
    if (!sysfs_file::write(zel::paths::gpio_unexport, gpio_line)) {
        error() << "driver_lib::io_control_t -- could not open gpio unexport file";
        return false;
    }
    if (!sysfs_file::write(zel::paths::gpio_export, gpio_line)) {
        error() << "driver_lib::io_control_t -- could not open gpio export file";
        return false;
    }
    return true;
}

bool control_t::set_alert_duty_cycle(unsigned percent) {
    if (percent > 100) {
        return refuse("invalid alert duty cycle: ", percent, "%");
    }
    const int value = (static_cast<int>(percent) * 4095 + 50) / 100 - 2048;
    return change_register(regs::alert, regs::alert_duty_cycle, static_cast<std::uint32_t>(value));
}

bool control_t::set_alert_frequency(std::uint32_t hz) {
    constexpr std::uint64_t reference = 133'333'334;
    const auto value = ((std::uint64_t{hz} << 25) + reference / 2) / reference;
    if (value < 1 || value > regs::alert_frequency.mask()) {
        return refuse("invalid alert frequency: ", hz, "Hz");
    }
    return change_register(regs::alert, regs::alert_frequency, static_cast<std::uint32_t>(value));
}

bool control_t::set_alert_enable(bool on) {
    return change_register(regs::alert, regs::alert_enable, on ? 1 : 0);
}

bool control_t::set_lamp_brightness(int lamp, double percent) {
    if (platform_id() != boards::mixer_platform) {
        return true;
    }
    if (lamp != 0 && lamp != 1) {
        return refuse("invalid lamp: ", lamp);
    }
    if (!(percent >= 10 && percent <= 100)) {
        return refuse("invalid lamp brightness percentage: ", percent, "%");
    }
    // From 2^13 - 1 at 10 % up to 2^18 - 2 at 100 %: equal steps look equally bright.
    constexpr double dimmest = 8191;
    constexpr double range = 3.4658541658588717;  // ln(262143 / 8191)
    const auto value = static_cast<int>(dimmest * std::exp((percent - 10) / 90 * range));
    return write_register(regs::lamp_brightness[lamp], static_cast<std::uint32_t>(value - 0x20000) & 0x3FFFF);
}

bool control_t::get_fan_speed(int fan, std::uint32_t& rpm) {
    rpm = 0;
    if (!platform_is_one_of(boards::with_fans)) {
        return true;
    }
    if (fan != 0 && fan != 1) {
        return refuse("invalid fan: ", fan);
    }
    std::uint32_t word = 0;
    if (!read_register(regs::fan_tachometer[fan], word)) {
        return false;
    }
    constexpr std::uint32_t overflow = 1U << 21;
    const auto period = (word * 2) & 0x3FFFFE;
    if ((period & overflow) == 0 && period != 0) {
        rpm = (platform_is_one_of(boards::fans_at_full_speed) ? 3'750'000'000U : 4'000'000'000U) / period;
    }
    return true;
}

bool control_t::set_fan_drive(double celsius) {
    double drive = 0;
    bool fixed = true;
    if (platform_is_one_of(boards::fans_follow_temperature)) {
        if (std::isnan(celsius)) {
            return false;
        }
        const double target = std::clamp((2 * celsius - 90) / 10, -1.0, 1.0);
        fan_control_ = static_cast<float>(0.9 * static_cast<double>(fan_control_) + 0.1 * target);
        drive = static_cast<double>(fan_control_);
        fixed = false;
    } else if (platform_is_one_of(boards::fans_at_full_speed)) {
        fan_control_ = 1.0F;
        drive = 1.0;
    } else if (platform_id() == boards::mixer_platform) {
        fan_control_ = 1.0F;
        drive = -0.5;
    } else {
        return true;
    }
    // Half a step up, then toward zero: negative drives come out one step higher than rounding would have
    // them.
    const double scaled = drive * 131071 + 0.5;
    const auto value = static_cast<std::int32_t>(scaled);
    const auto word =
        regs::fan_drive_fixed.set(regs::fan_drive_value.set(0, static_cast<std::uint32_t>(value)), fixed);
    return std::ranges::all_of(regs::fan_drive, [word](auto offset) { return write_register(offset, word); });
}

bool control_t::get_temperature(float& celsius, bool cached) {
    if (platform_is_one_of(boards::with_processor_temperature)) {
        const auto millidegrees = sysfs_file::read_integer(zel::paths::processor_temperature);
        if (!millidegrees) {
            return false;
        }
        celsius = static_cast<float>(*millidegrees) / 1000.0F;
        return true;
    }
    if (cached && ready()) {
        celsius = std::bit_cast<float>(mmio::read32(shared_area_c() + regs::shared_temperature));
        return true;
    }
    if (!platform_is_one_of(boards::with_temperature_sensor)) {
        return true;
    }
    return ready() && read_sensor(celsius);
}

bool control_t::read_sensor(float& celsius) {
    spi_.bit_count = 16;
    spi_.bit_rate = 5'000'000;
    spi_.mode = 0;
    if (!spi_.transfer(true)) {
        return false;
    }
    const auto reading = static_cast<std::int16_t>(spi_.receive[0]);
    constexpr std::uint16_t always_set = 3;
    if ((spi_.receive[0] & always_set) != always_set) {
        return platform_id() == boards::platform_with_optional_sensor;
    }
    celsius = static_cast<float>(reading >> 2) * 0.03125F;
    mmio::write32(shared_area_c() + regs::shared_temperature, std::bit_cast<std::uint32_t>(celsius));
    return true;
}

bool control_t::get_gpio_status(bool& state) {
    if (has_gpio_line()) {
        const auto line = read_gpio_line();
        if (line) {
            state = *line == 0;
        }
        return line.has_value();
    }
    std::uint32_t word = 0;
    if (!read_register(regs::level, word)) {
        return false;
    }
    state = regs::input_fault_a.get(word) != 0 && regs::input_active_low.get(word) == 0;
    return true;
}

bool control_t::get_gpio_line(bool& state) {
    if (has_gpio_line()) {
        const auto line = read_gpio_line();
        if (line) {
            state = *line != 0;
        }
        return line.has_value();
    }
    return !platform_is_one_of(boards::with_input_level) ||
           read_bit(regs::level, regs::input_active_low, state);
}

bool control_t::set_output_enable(output_e output, bool on) {
    constexpr field_t fields[] = {regs::enable_a, regs::enable_b, regs::enable_c};
    return change_register(regs::enables, fields[static_cast<std::size_t>(output)], on ? 1 : 0);
}

bool control_t::get_hardware_revision(std::uint32_t& revision) {
    std::uint32_t word = 0;
    if (!read_register(regs::enables, word)) {
        return false;
    }
    revision = regs::hardware_revision.get(word);
    return true;
}

bool control_t::send_command(command_e command) {
    return write_register(regs::command, command == command_e::a ? regs::command_a : regs::command_b);
}

bool control_t::get_status_input(bool& state) {
    return read_bit(regs::status, regs::status_input, state);
}

bool control_t::send_pulse() {
    return write_register(regs::pulse, 1) && write_register(regs::pulse, 0);
}

bool control_t::set_level(std::uint16_t value) {
    return change_register(regs::level, regs::level_value, static_cast<std::uint32_t>(value) - 32768);
}

bool control_t::set_level_output(bool on) {
    return change_register(regs::level, regs::level_output, on ? 1 : 0);
}

bool control_t::get_level_reading(std::uint32_t& reading) {
    std::uint32_t word = 0;
    if (!read_register(regs::level, word)) {
        return false;
    }
    reading = regs::level_reading.get(word);
    return true;
}

bool control_t::get_inputs(inputs_t& inputs) {
    std::uint32_t word = 0;
    if (!read_register(regs::level, word)) {
        return false;
    }
    inputs.present = regs::input_present_a.get(word) != 0 || regs::input_present_b.get(word) != 0;
    inputs.fault_a = regs::input_fault_a.get(word) != 0;
    inputs.fault_b = regs::input_fault_b.get(word) != 0;
    inputs.active = regs::input_active_low.get(word) == 0;
    return true;
}

control_t& control() {
    static auto& controller = *new control_t;
    return controller;
}

}  // namespace io
