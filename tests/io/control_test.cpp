#include "io/control.h"
#include "io/mmio.h"
#include "sim/control_block.h"
#include "tests/io/driver_test.h"

#include <limits>
#include <string>
#include <utility>

namespace {

using tests::refusal_of;

/// A unit with its controller brought up.
struct controlled_unit_t {
    explicit controlled_unit_t(std::string_view name) : unit{name} { EXPECT_TRUE(driver.initialise(true)); }

    tests::checked_unit_t unit;
    io::control_t driver;
    sim::control_block_state_t& outside = sim::shared_state<sim::control_block_state_t>("control");
};

constexpr double not_a_number = std::numeric_limits<double>::quiet_NaN();

TEST(control, sets_the_alert_output_rounded_and_refuses_one_out_of_range) {
    controlled_unit_t on{"base-unit"};
    EXPECT_TRUE(on.driver.set_alert_enable(true) && on.driver.set_alert_frequency(1000));
    for (const auto& [percent, bits] : {std::pair{0U, 0x800U}, {50U, 0x000U}, {100U, 0x7FFU}, {1U, 0x829U}}) {
        EXPECT_TRUE(on.driver.set_alert_duty_cycle(percent));
        EXPECT_EQ(io::mmio::read32(io::system_t::fpga_base() + 0x10), 1U << 24 | bits << 12 | 252) << percent;
    }
    for (const auto hz : {1U, 16'275U, 4'000'000'000U}) {
        EXPECT_EQ(refusal_of([&] { return on.driver.set_alert_frequency(hz); }),
                  "invalid alert frequency: " + std::to_string(hz) + "Hz\n");
    }
    for (const auto hz : {2U, 1000U, 16'274U}) {  // rounded up to the first step, and down to the last
        EXPECT_TRUE(on.driver.set_alert_frequency(hz));
        EXPECT_NEAR(on.outside.alert_hz, hz, 3);
    }
}

TEST(control, the_mixer_dims_its_lamps_on_an_exponential_scale) {
    controlled_unit_t on{"mixer"};
    for (const auto& [percent, value] : {std::pair{10.0, 8191}, {50.0, 38222}, {100.0, 262142}}) {
        EXPECT_TRUE(on.driver.set_lamp_brightness(1, percent));
        EXPECT_EQ(on.outside.lamp[1] * 262144, value);
    }
    EXPECT_EQ(on.outside.lamp[0], 0) << "the other lamp is left alone";
}

TEST(control, fans_are_measured_with_the_units_clock_and_driven_at_a_fixed_speed_or_smoothly) {
    struct fans_t {
        const char* unit;
        int drive;
        bool fixed;
    };
    for (const auto& [unit, drive, fixed] :
         {fans_t{"mixer", -65535, true}, {"large-base-unit", 131071, true}, {"card-frame", -131070, false}}) {
        controlled_unit_t on{unit};
        std::uint32_t rpm = 0;
        EXPECT_TRUE(on.driver.get_fan_speed(1, rpm) && on.driver.set_fan_drive(20));
        EXPECT_NEAR(rpm, 2900, 1) << unit;
        EXPECT_EQ(on.outside.fan_drive[0] * 131072, drive) << unit << ": half a step up, then toward zero";
        EXPECT_EQ(on.outside.fan_fixed[1], fixed) << unit;
    }
    controlled_unit_t on{"card-frame"};
    on.outside.fan_rpm[0] = 0;
    std::uint32_t rpm = 1;
    EXPECT_TRUE(on.driver.get_fan_speed(0, rpm) && rpm == 0);
    EXPECT_TRUE(on.driver.set_fan_drive(90));
    EXPECT_NEAR(on.outside.fan_drive[0], -0.8, 1e-4) << "a tenth of the way from -1 to the clamped target 1";
    EXPECT_TRUE(on.driver.set_fan_drive(45));
    EXPECT_NEAR(on.outside.fan_drive[1], -0.72, 1e-4) << "a tenth of the way to 0";
    EXPECT_FALSE(on.driver.set_fan_drive(not_a_number));
}

TEST(control, reads_the_temperature_and_keeps_it_for_others) {
    controlled_unit_t on{"card-frame"};
    float celsius = 0;
    for (const double actual : {-10.03125, 0.0, 41.25}) {
        on.outside.sensor.celsius = actual;
        EXPECT_TRUE(on.driver.get_temperature(celsius));
        EXPECT_EQ(celsius, static_cast<float>(actual));
    }
    EXPECT_EQ(io::mmio::read32(io::system_t::shared_base() + 0x3C000 + 0x5A38), 0x42250000U)
        << "41.25 as a big-endian float";
    on.outside.sensor.fitted = false;
    EXPECT_FALSE(on.driver.get_temperature(celsius));
    celsius = 0;
    EXPECT_TRUE(on.driver.get_temperature(celsius, true)) << "from the shared region alone";
    EXPECT_EQ(celsius, 41.25F);
}

TEST(control, a_large_base_unit_may_be_built_without_the_sensor) {
    controlled_unit_t on{"large-base-unit"};
    on.outside.sensor.fitted = false;
    float celsius = 77;
    EXPECT_TRUE(on.driver.get_temperature(celsius) && celsius == 77.0F);
}

TEST(control, an_amplifier_gives_its_processor_line_back_before_it_exports_and_reads_it) {
    const tests::checked_unit_t amplifier{"virtual-machine"};
    const auto& root = amplifier.root;
    io::control_t driver;
    root.remove_file("/sys/class/gpio/export");
    EXPECT_FALSE(driver.initialise(false));
    EXPECT_EQ(root.read_file("/sys/class/gpio/unexport"), "113") << "came first";
    EXPECT_TRUE(amplifier.log.has("driver_lib::io_control_t -- could not open gpio export file"));
    root.write_file("/sys/class/gpio/export", "");
    EXPECT_TRUE(driver.initialise(false) && root.read_file("/sys/class/gpio/export") == "113");
    bool status = false;
    bool line = false;
    for (const auto* const text : {"0\n", "1\n"}) {
        root.write_file("/sys/class/gpio/gpio113/value", text);
        EXPECT_TRUE(driver.get_gpio_status(status) && driver.get_gpio_line(line));
        EXPECT_TRUE(line == (text[0] == '1') && status == !line) << text;
    }
    root.write_file("/sys/class/gpio/gpio113/value", "high\n");
    EXPECT_FALSE(driver.get_gpio_status(status) || driver.get_gpio_line(line));
}

}  // namespace
