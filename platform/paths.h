#pragma once

#include <string_view>

/// Every absolute path of a unit that this system reads, writes, binds or connects to, each written once;
/// those that are any Linux system's ("/dev/null", "/bin/rm", "/proc/self/fd") stand where they are used.
///
/// Where such a path lies on the machine at hand is for `zel::system_path` to say (platform/system_path.h);
/// messages always show the path as it stands here.
namespace zel::paths {

// Sockets
inline constexpr std::string_view property_engine = "/tmp/.korv_property_ipc";
inline constexpr std::string_view notification_service = "/tmp/.korv_ipc";

// Files served, kept or read
inline constexpr std::string_view www_directory = "/usr/zel/www/";
inline constexpr std::string_view build_record = "/build_info.json";
inline constexpr std::string_view level_file_prefix = "/var/rwfs2/log_level.";
inline constexpr std::string_view pid_directory = "/var/run/";
inline constexpr std::string_view keypad_firmware = "/usr/zel/firmware/ps_keypad.hex";

// The kernel's account of where the process runs
inline constexpr std::string_view init_cgroup = "/proc/1/cgroup";
inline constexpr std::string_view mount_info = "/proc/self/mountinfo";
inline constexpr std::string_view cpu_info = "/proc/cpuinfo";

// Devices
inline constexpr std::string_view io_driver = "/dev/io";
inline constexpr std::string_view first_generation_io = "/dev/omap_io";
inline constexpr std::string_view lite_io = "/dev/lite_io";
inline constexpr std::string_view serial_front_panel = "/dev/ttyS0";

// sysfs
inline constexpr std::string_view gpio_export = "/sys/class/gpio/export";
inline constexpr std::string_view gpio_unexport = "/sys/class/gpio/unexport";
inline constexpr std::string_view gpio_line_prefix = "/sys/class/gpio/gpio";
inline constexpr std::string_view processor_temperature = "/sys/devices/ocp.3/44e10448.bandgap/temp1_input";

}  // namespace zel::paths
