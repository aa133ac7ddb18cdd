#include "io/control.h"
#include "io/mmio.h"
#include "tests/golden.h"
#include "tests/io/driver_test.h"

#include <cmath>
#include <filesystem>
#include <string>

namespace {

TEST(control, what_each_board_has_is_as_approved) {
    std::string report;
    for (const std::uint32_t fpga :
         {0xDEADF00DU, 0xBA5EBA11U, 0xB01DFACEU, 0xCAB005E5U, 0x0DDBA115U, 0x5EAF00D5U}) {
        auto definition = *sim::find_unit("mixer");
        definition.fpga_id = fpga;
        const tests::checked_unit_t unit{definition};
        io::control_t driver;
        EXPECT_EQ(driver.shared_status(), nullptr);
        EXPECT_TRUE(driver.initialise(true));
        EXPECT_EQ(driver.shared_status(), io::system_t::shared_base() + 0x419C4);
        tests::listing_t listing{"platform " + std::to_string(io::system_t::platform_id())};
        std::uint32_t rpm = 99;
        listing.tell("fan 2", [&] { return driver.get_fan_speed(2, rpm); });
        listing.tell("fan 0", [&] { return driver.get_fan_speed(0, rpm); });
        listing.tell("fan drive without a temperature", [&] { return driver.set_fan_drive(NAN); });
        listing.tell("fan drive", [&] { return driver.set_fan_drive(90); });
        listing.tell("lamp", [&] { return driver.set_lamp_brightness(0, 50); });
        float celsius = 77;
        listing.tell("temperature", [&] { return driver.get_temperature(celsius); });
        bool line = false;
        listing.tell("line", [&] { return driver.get_gpio_line(line); });
        report += listing.text() + "  " + std::to_string(rpm) + " rpm, " + std::to_string(celsius) + " C\n";
    }
    EXPECT_EQ(report, tests::golden_text("boards.txt", report));
}

TEST(control, the_emulated_expander_has_the_sensor_of_a_processor) {
    auto definition = *sim::find_unit("container");
    definition.properties.platform = "expc";
    const tests::checked_unit_t expander{definition};
    const io::system_t system;
    EXPECT_EQ(io::system_t::platform_id(), 12U);
    constexpr auto* sensor = "/sys/devices/ocp.3/44e10448.bandgap/temp1_input";
    std::filesystem::create_directories(std::filesystem::path{expander.root.file(sensor)}.parent_path());
    expander.root.write_file(sensor, "-1250\n");
    io::control_t driver;
    float celsius = 77;
    EXPECT_TRUE(driver.get_temperature(celsius) && celsius == -1.25F);
    expander.root.remove_file(sensor);
    EXPECT_FALSE(driver.get_temperature(celsius));
}

TEST(control, an_amplifier_gives_its_processor_line_back_before_it_exports_it) {
    const tests::checked_unit_t amplifier{"virtual-machine"};
    const auto& root = amplifier.root;
    io::control_t driver;
    root.remove_file("/sys/class/gpio/export");
    EXPECT_FALSE(driver.initialise(false));
    EXPECT_EQ(root.read_file("/sys/class/gpio/unexport"), "113") << "came first";
    EXPECT_TRUE(amplifier.log.has("driver_lib::io_control_t -- could not open gpio export file"));
    root.write_file("/sys/class/gpio/export", "");
    EXPECT_TRUE(driver.initialise(false) && root.read_file("/sys/class/gpio/export") == "113");
    root.remove_file("/sys/class/gpio/unexport");
    EXPECT_FALSE(driver.initialise(false));
    EXPECT_TRUE(amplifier.log.has("driver_lib::io_control_t -- could not open gpio unexport file"));
}

}  // namespace
