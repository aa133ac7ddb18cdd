#include "io/control.h"
#include "io/mmio.h"
#include "sim/board/control_block.h"
#include "tests/golden.h"
#include "tests/io/driver_test.h"

#include <cstdio>
#include <limits>
#include <string>
#include <utility>

namespace {

/// A unit with its controller brought up.
struct controlled_unit_t {
    explicit controlled_unit_t(std::string_view name) : unit{name} { EXPECT_TRUE(driver.initialise(true)); }

    tests::checked_unit_t unit;
    io::control_t driver;
    sim::control_block_state_t& outside = sim::shared_state<sim::control_block_state_t>("control");
};

/// Does to a unit's controller all that can be done, and tells what each call wrote, read and said.
std::string everything_done_to(const char* kind) {
    controlled_unit_t on{kind};
    auto& driver = on.driver;
    on.outside.input_lines = 0b10110;
    on.outside.status_input = true;
    on.outside.fan_rpm[0] = 0;
    tests::listing_t listing{kind};
    const auto tell = [&](const char* what, const auto& call) { listing.tell(what, call); };
    const auto tell_number = [&](const char* what, const auto& read) {
        listing.tell_value(what, std::uint32_t{99}, read);
    };
    const auto tell_state = [&](const char* what, bool (io::control_t::*read)(bool&)) {
        listing.tell_value(what, false, [&](bool& state) { return (driver.*read)(state); });
    };
    tell("alert on", [&] { return driver.set_alert_enable(true); });
    for (const auto hz : {1U, 2U, 1000U, 16'274U, 16'275U, 4'000'000'000U}) {
        tell("alert frequency", [&] { return driver.set_alert_frequency(hz); });
    }
    for (const auto percent : {0U, 1U, 50U, 100U, 101U}) {
        tell("alert duty cycle", [&] { return driver.set_alert_duty_cycle(percent); });
    }
    for (const auto& lamp : {std::pair{0, 10.0}, {1, 50.0}, {1, 100.0}, {2, 50.0}, {0, 9.5}}) {
        tell("lamp", [&] { return driver.set_lamp_brightness(lamp.first, lamp.second); });
    }
    for (const int fan : {0, 1, 2}) {
        tell_number("fan speed", [&](std::uint32_t& rpm) { return driver.get_fan_speed(fan, rpm); });
    }
    for (const double celsius : {20.0, 90.0, 45.0, std::numeric_limits<double>::quiet_NaN()}) {
        tell("fan drive", [&] { return driver.set_fan_drive(celsius); });
    }
    using enum io::control_t::output_e;
    for (const auto output : {a, b, c}) {
        tell("output on", [&] { return driver.set_output_enable(output, true); });
    }
    tell_number("hardware revision",
                [&](std::uint32_t& number) { return driver.get_hardware_revision(number); });
    tell("command a", [&] { return driver.send_command(io::control_t::command_e::a); });
    tell("command b", [&] { return driver.send_command(io::control_t::command_e::b); });
    tell("pulse", [&] { return driver.send_pulse(); });
    tell("level", [&] { return driver.set_level(0x1234); });
    tell("level output on", [&] { return driver.set_level_output(true); });
    tell_number("level reading", [&](std::uint32_t& number) { return driver.get_level_reading(number); });
    tell_state("status input", &io::control_t::get_status_input);
    tell_state("GPIO status", &io::control_t::get_gpio_status);
    tell_state("GPIO line", &io::control_t::get_gpio_line);
    return listing.text();
}

TEST(control, operations_are_the_register_accesses_that_were_approved) {
    std::string report;
    for (const auto* const kind : {"base-unit", "mixer", "large-base-unit", "card-frame"}) {
        report += everything_done_to(kind);
    }
    EXPECT_EQ(report, tests::golden_text("control.txt", report));
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

TEST(control, a_large_base_unit_that_gets_no_reading_has_not_failed) {
    controlled_unit_t on{"large-base-unit"};
    on.outside.sensor.fitted = false;
    float celsius = 77;
    EXPECT_TRUE(on.driver.get_temperature(celsius) && celsius == 77.0F);
}

TEST(control, a_temperature_kept_by_another_program_is_read_without_a_sensor_too) {
    controlled_unit_t on{"base-unit"};
    io::mmio::write32(io::system_t::shared_base() + 0x3C000 + 0x5A38, 0x42250000U);
    float celsius = 77;
    EXPECT_TRUE(on.driver.get_temperature(celsius, true) && celsius == 41.25F);
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
