#include "platform/logger_names.h"
#include "platform/paths.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string_view>
#include <utility>
#include <vector>

namespace {

// The daemon and its simulated unit share these, and would agree on a mistyped one. The outside world, which
// has them as they stand here, would not.
TEST(names, are_those_that_the_outside_world_uses) {
    namespace paths = zel::paths;
    const std::pair<std::string_view, std::string_view> names[]{
        {paths::property_engine, "/tmp/.korv_property_ipc"},
        {paths::notification_service, "/tmp/.korv_ipc"},
        {paths::www_directory, "/usr/zel/www/"},
        {paths::build_record, "/build_info.json"},
        {paths::level_file_prefix, "/var/rwfs2/log_level."},
        {paths::pid_directory, "/var/run/"},
        {paths::keypad_firmware, "/usr/zel/firmware/ps_keypad.hex"},
        {paths::init_cgroup, "/proc/1/cgroup"},
        {paths::mount_info, "/proc/self/mountinfo"},
        {paths::cpu_info, "/proc/cpuinfo"},
        {paths::io_driver, "/dev/io"},
        {paths::first_generation_io, "/dev/omap_io"},
        {paths::lite_io, "/dev/lite_io"},
        {paths::serial_front_panel, "/dev/ttyS0"},
        {paths::gpio_export, "/sys/class/gpio/export"},
        {paths::gpio_unexport, "/sys/class/gpio/unexport"},
        {paths::gpio_line_prefix, "/sys/class/gpio/gpio"},
        {paths::processor_temperature, "/sys/devices/ocp.3/44e10448.bandgap/temp1_input"},
    };
    for (const auto& [ours, theirs] : names) {
        EXPECT_EQ(ours, theirs);
    }
    EXPECT_TRUE(std::ranges::equal(
        zel::loggers::all, std::vector<std::string_view>{"drv_io", "drv_io_page_station", "drv_io_lx4s",
                                                         "lin_ipc", "lin_property", "eng_daemon"}));
}

}  // namespace
