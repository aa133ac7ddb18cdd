#include "io/control.h"
#include "io/mmio.h"
#include "tests/io/bench_unit.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <utility>

namespace {

/// A unit with its controller brought up.
struct controlled_unit_t {
    explicit controlled_unit_t(std::string_view name) : unit{name} {
        EXPECT_TRUE(controller.initialise(true));
    }
    ~controlled_unit_t() { EXPECT_EQ(sim::violations(), ""); }

    tests::bench_unit_t unit;
    io::control_t controller;
    sim::control_block_state_t& outside = unit.outside();
};

template <typename call_t>
std::string console_of(const call_t& call) {
    testing::internal::CaptureStdout();
    call();
    return testing::internal::GetCapturedStdout();
}

TEST(control, sets_the_alert_output_rounded_and_keeps_what_it_does_not_change) {
    controlled_unit_t on{"base-unit"};
    EXPECT_TRUE(on.controller.set_alert_enable(true));
    EXPECT_TRUE(on.controller.set_alert_frequency(1000));
    EXPECT_NEAR(on.outside.alert_hz, 1000, 2);
    for (const auto& [percent, bits] : {std::pair{0U, 0x800U}, {50U, 0x000U}, {100U, 0x7FFU}, {1U, 0x829U}}) {
        EXPECT_TRUE(on.controller.set_alert_duty_cycle(percent));
        EXPECT_NEAR(on.outside.alert_duty, percent / 100.0, 0.001);
        EXPECT_EQ(io::mmio::read32(io::system_t::fpga_base() + 0x10), 1U << 24 | bits << 12 | 252) << percent;
    }
    EXPECT_TRUE(on.outside.alert_on);
}

TEST(control, refuses_an_alert_out_of_range) {
    controlled_unit_t on{"base-unit"};
    EXPECT_EQ(console_of([&] { EXPECT_FALSE(on.controller.set_alert_duty_cycle(101)); }),
              "invalid alert duty cycle: 101%\n");
    EXPECT_EQ(console_of([&] {
                  EXPECT_FALSE(on.controller.set_alert_frequency(1));
                  EXPECT_FALSE(on.controller.set_alert_frequency(16'275));
                  EXPECT_FALSE(on.controller.set_alert_frequency(4'000'000'000));
              }),
              "invalid alert frequency: 1Hz\ninvalid alert frequency: 16275Hz\n"
              "invalid alert frequency: 4000000000Hz\n");
    EXPECT_TRUE(on.controller.set_alert_frequency(2)) << "rounds up to the first step";
    EXPECT_TRUE(on.controller.set_alert_frequency(16'274)) << "rounds down to the last";
    EXPECT_NEAR(on.outside.alert_hz, 16'274, 3);
}

TEST(control, the_mixer_dims_its_lamps_on_an_exponential_scale_and_runs_its_fans_at_a_fixed_drive) {
    controlled_unit_t on{"mixer"};
    for (const auto& [percent, value] : {std::pair{10.0, 8191}, {50.0, 38222}, {100.0, 262142}}) {
        EXPECT_TRUE(on.controller.set_lamp_brightness(1, percent));
        EXPECT_EQ(on.outside.lamp[1] * 262144, value);
    }
    EXPECT_EQ(on.outside.lamp[0], 0) << "the other lamp is left alone";
    EXPECT_TRUE(on.controller.set_fan_drive(90));
    EXPECT_EQ(on.outside.fan_drive[0] * 131072, -65535);
    EXPECT_TRUE(on.outside.fan_fixed[0]);
    EXPECT_EQ(console_of([&] {
                  EXPECT_FALSE(on.controller.set_lamp_brightness(2, 50));
                  EXPECT_FALSE(on.controller.set_lamp_brightness(0, 9.5));
                  EXPECT_FALSE(on.controller.set_lamp_brightness(0, 101));
                  EXPECT_FALSE(
                      on.controller.set_lamp_brightness(0, std::numeric_limits<double>::quiet_NaN()));
              }),
              "invalid lamp: 2\ninvalid lamp brightness percentage: 9.5%\n"
              "invalid lamp brightness percentage: 101%\ninvalid lamp brightness percentage: nan%\n");
}

TEST(control, reads_the_speed_of_fans_that_turn_and_of_one_that_does_not) {
    controlled_unit_t on{"card-frame"};
    std::uint32_t rpm = 0;
    EXPECT_TRUE(on.controller.get_fan_speed(1, rpm));
    EXPECT_NEAR(rpm, 2900, 1);
    on.outside.fan_rpm[0] = 0;
    EXPECT_TRUE(on.controller.get_fan_speed(0, rpm));
    EXPECT_EQ(rpm, 0U);
    EXPECT_EQ(console_of([&] { EXPECT_FALSE(on.controller.get_fan_speed(2, rpm)); }), "invalid fan: 2\n");
}

TEST(control, a_large_base_unit_has_a_slower_clock_full_fans_and_perhaps_no_sensor) {
    controlled_unit_t on{"large-base-unit"};
    std::uint32_t rpm = 0;
    EXPECT_TRUE(on.controller.get_fan_speed(0, rpm));
    EXPECT_NEAR(rpm, 3000, 1);
    EXPECT_TRUE(on.controller.set_fan_drive(20));
    EXPECT_NEAR(on.outside.fan_drive[1], 1.0, 1e-4) << "full speed whatever the temperature";
    EXPECT_TRUE(on.outside.fan_fixed[1]);
    on.outside.sensor.fitted = false;
    float celsius = 77;
    EXPECT_TRUE(on.controller.get_temperature(celsius));
    EXPECT_EQ(celsius, 77.0F);
}

TEST(control, fan_drive_follows_the_temperature_smoothly) {
    controlled_unit_t on{"card-frame"};
    EXPECT_TRUE(on.controller.set_fan_drive(40));
    EXPECT_EQ(on.outside.fan_drive[0] * 131072, -131070) << "rounds up, then truncates toward zero";
    EXPECT_TRUE(on.controller.set_fan_drive(90));
    EXPECT_NEAR(on.outside.fan_drive[0], -0.8, 1e-4) << "a tenth of the way from -1 to the clamped target 1";
    EXPECT_TRUE(on.controller.set_fan_drive(45));
    EXPECT_NEAR(on.outside.fan_drive[1], -0.72, 1e-4) << "a tenth of the way to 0";
    EXPECT_FALSE(on.outside.fan_fixed[0]);
    EXPECT_FALSE(on.controller.set_fan_drive(std::numeric_limits<double>::quiet_NaN()));
}

TEST(control, reads_the_temperature_and_keeps_it_for_others) {
    controlled_unit_t on{"card-frame"};
    float celsius = 0;
    for (const double actual : {41.25, -10.03125, 0.0}) {
        on.outside.sensor.celsius = actual;
        EXPECT_TRUE(on.controller.get_temperature(celsius));
        EXPECT_EQ(celsius, static_cast<float>(actual));
    }
    on.outside.sensor.celsius = 41.25;
    EXPECT_TRUE(on.controller.get_temperature(celsius));
    const auto transfers = on.outside.sensor_link.transfers;
    celsius = 0;
    EXPECT_TRUE(on.controller.get_temperature(celsius, true));
    EXPECT_EQ(celsius, 41.25F);
    EXPECT_EQ(on.outside.sensor_link.transfers, transfers) << "from the shared region alone";
    EXPECT_EQ(io::mmio::read32(io::system_t::shared_base() + 0x3C000 + 0x5A38), 0x42250000U)
        << "41.25 as a big-endian float";

    on.outside.sensor.fitted = false;
    EXPECT_FALSE(on.controller.get_temperature(celsius));
}

TEST(control, drives_the_unit_registers_one_field_at_a_time) {
    controlled_unit_t on{"base-unit"};
    using output_e = io::control_t::output_e;
    EXPECT_TRUE(on.controller.set_output_enable(output_e::a, true));
    EXPECT_TRUE(on.controller.set_output_enable(output_e::c, true));
    EXPECT_TRUE(on.controller.set_output_enable(output_e::b, true));
    EXPECT_TRUE(on.controller.set_output_enable(output_e::a, false));
    EXPECT_FALSE(on.outside.outputs[0]);
    EXPECT_TRUE(on.outside.outputs[1] && on.outside.outputs[2]);
    std::uint32_t revision = 0;
    EXPECT_TRUE(on.controller.get_hardware_revision(revision));
    EXPECT_EQ(revision, 3U);

    EXPECT_TRUE(on.controller.send_command(io::control_t::command_e::b));
    EXPECT_EQ(on.outside.last_command, 0x8000U);
    EXPECT_TRUE(on.controller.send_pulse());
    EXPECT_EQ(on.outside.pulses, 1U);

    on.outside.input_lines = 0b10110;
    EXPECT_TRUE(on.controller.set_level_output(true));
    EXPECT_TRUE(on.controller.set_level(65535));
    EXPECT_NEAR(on.outside.level, 1, 1e-4);
    EXPECT_TRUE(on.controller.set_level(0));
    EXPECT_EQ(on.outside.level, -1);
    EXPECT_TRUE(on.outside.level_output);
    std::uint32_t reading = 0;
    EXPECT_TRUE(on.controller.get_level_reading(reading));
    EXPECT_EQ(reading, 0b10110U);
    io::control_t::inputs_t inputs;
    EXPECT_TRUE(on.controller.get_inputs(inputs));
    EXPECT_TRUE(inputs.present && inputs.fault_a);
    EXPECT_FALSE(inputs.fault_b || inputs.active);

    bool state = true;
    EXPECT_TRUE(on.controller.get_gpio_status(state));
    EXPECT_FALSE(state) << "the low-active line is high";
    on.outside.input_lines = 0b00100;
    EXPECT_TRUE(on.controller.get_gpio_status(state));
    EXPECT_TRUE(state);
    on.outside.status_input = true;
    EXPECT_TRUE(on.controller.get_status_input(state));
    EXPECT_TRUE(state);
}

TEST(control, without_an_fpga_is_not_initialised_and_does_nothing) {
    tests::bench_unit_t unit{"no-driver"};
    io::control_t controller;
    EXPECT_EQ(console_of([&] { EXPECT_FALSE(controller.initialise(false)); }),
              "FPGA base address not initialized\n");
    EXPECT_FALSE(controller.set_alert_enable(true));
    EXPECT_FALSE(controller.send_pulse());
}

/// An amplifier of platform 17: no FPGA, the status input is a line of the processor.
class gpio : public testing::Test {
  protected:
    void line_reads(std::string_view text) const {
        unit_.root.write_file("/sys/class/gpio/gpio113/value", text);
    }

    tests::bench_unit_t unit_{"virtual-machine"};
    io::control_t controller_;
};

TEST_F(gpio, the_line_is_given_back_before_it_is_exported) {
    unit_.root.remove_file("/sys/class/gpio/export");
    EXPECT_FALSE(controller_.initialise(false));
    EXPECT_EQ(unit_.root.read_file("/sys/class/gpio/unexport"), "113") << "came first";
    EXPECT_TRUE(unit_.log.has("driver_lib::io_control_t -- could not open gpio export file"));

    unit_.root.write_file("/sys/class/gpio/export", "");
    EXPECT_TRUE(controller_.initialise(false));
    EXPECT_EQ(unit_.root.read_file("/sys/class/gpio/export"), "113");

    unit_.root.remove_file("/sys/class/gpio/unexport");
    EXPECT_FALSE(controller_.initialise(false));
    EXPECT_TRUE(unit_.log.has("driver_lib::io_control_t -- could not open gpio unexport file"));
}

TEST_F(gpio, the_line_reads_in_both_senses_and_nonsense_fails) {
    bool status = false;
    bool line = true;
    line_reads("0\n");
    EXPECT_TRUE(controller_.get_gpio_status(status) && controller_.get_gpio_line(line));
    EXPECT_TRUE(status && !line);
    line_reads("1\n");
    EXPECT_TRUE(controller_.get_gpio_status(status) && controller_.get_gpio_line(line));
    EXPECT_TRUE(!status && line);
    for (const auto* const nonsense : {"", "high\n"}) {
        line_reads(nonsense);
        EXPECT_FALSE(controller_.get_gpio_status(status) || controller_.get_gpio_line(line)) << nonsense;
    }
    unit_.root.remove_file("/sys/class/gpio/gpio113/value");
    EXPECT_FALSE(controller_.get_gpio_status(status));
}

}  // namespace
