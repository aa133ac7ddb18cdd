#include "io/control.h"
#include "io/mmio.h"
#include "sim/board/control_block.h"
#include "tests/io/driver_test.h"

#include <string_view>

namespace {

/// A unit with its controller brought up.
struct controlled_unit_t {
    explicit controlled_unit_t(std::string_view name) : unit{name} { EXPECT_TRUE(driver.initialise(true)); }

    tests::checked_unit_t unit;
    io::control_t driver;
    sim::control_block_state_t& outside = sim::shared_state<sim::control_block_state_t>("control");
};

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
