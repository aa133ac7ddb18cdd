#include "sim/root/unit_root.h"

#include "platform/paths.h"
#include "sim/root/system_path.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <system_error>

namespace sim {

namespace {

namespace paths = zel::paths;

constexpr std::string_view unit_file = "/sim/unit";
constexpr std::size_t io_driver_size = 0x100'0000;  // covers both mappings, whatever the page size
constexpr std::size_t omap_io_size = 18200;

// The kind of unit, and what a test may have changed of its board.
std::string board_text(const unit_definition_t& unit) {
    std::ostringstream text;
    text << "name " << unit.name << '\n';
    if (unit.fpga_id) {
        text << "fpga_id " << *unit.fpga_id << '\n';
    }
    text << "controller " << unit.has_controller << '\n'
         << "front_panel " << unit.has_front_panel << '\n'
         << "page_station " << unit.has_page_station << '\n'
         << "serial_panel " << unit.has_serial_panel << '\n';
    return text.str();
}

}  // namespace

unit_root_t::unit_root_t(const unit_definition_t& definition) : definition_{definition} {
    set_unit_root(path());
    populate();
}

unit_root_t::~unit_root_t() {
    if (unit_root() == path()) {
        set_unit_root("");
    }
}

void unit_root_t::populate() const {
    for (const auto* const directory : {"/tmp", "/dev", "/usr/zel/firmware", "/var/rwfs2", "/sim"}) {
        std::filesystem::create_directories(file(directory));
    }
    std::filesystem::create_directories(file(paths::www_directory));
    std::filesystem::create_directories(file(paths::pid_directory));
    write_file(unit_file, board_text(definition_));
    write_file(paths::build_record, "{ \"git_revision\": \"3f9c2d1\" }\n");

    write_file(paths::init_cgroup,
               definition_.in_container ? "0::/docker/0a1b2c3d4e5f\n" : "0::/init.scope\n");
    write_file(paths::mount_info, "22 1 8:2 / / rw,relatime shared:1 - ext4 /dev/root rw\n"
                                  "23 22 0:21 / /proc rw,nosuid shared:13 - proc proc rw\n");
    write_file(paths::cpu_info, definition_.under_hypervisor
                                    ? "processor\t: 0\nflags\t\t: fpu sse2 hypervisor lahf_lm\n"
                                    : "processor\t: 0\ncpu\t\t: e500v2\nclock\t\t: 1000.000000MHz\n");

    if (definition_.fpga_id) {
        make_sparse_file(paths::io_driver, io_driver_size);
    }
    if (definition_.has_omap_io) {
        make_sparse_file(paths::first_generation_io, omap_io_size);
    }
    if (definition_.has_lite_io) {
        make_sparse_file(paths::lite_io, omap_io_size);
    }

    write_file(paths::gpio_export, "");
    write_file(paths::gpio_unexport, "");
    write_file(std::string{paths::gpio_line_prefix} + "113/value", "0\n");
    write_file(paths::processor_temperature, "41500\n");
}

void unit_root_t::write_file(std::string_view unit_path, std::string_view content) const {
    const std::filesystem::path place{file(unit_path)};
    std::filesystem::create_directories(place.parent_path());
    std::ofstream output{place, std::ios::binary};
    if (!(output << content << std::flush)) {
        throw std::system_error{errno, std::generic_category(), place};
    }
}

std::string unit_root_t::read_file(std::string_view unit_path) const {
    return sim::read_file(file(unit_path));
}

void unit_root_t::remove_file(std::string_view unit_path) const {
    std::filesystem::remove(file(unit_path));
}

void unit_root_t::make_sparse_file(std::string_view unit_path, std::size_t size) const {
    write_file(unit_path, "");
    std::filesystem::resize_file(file(unit_path), size);
}

std::string read_file(const std::string& path) {
    std::ifstream input{path, std::ios::binary};
    return {std::istreambuf_iterator<char>{input}, {}};
}

unit_definition_t definition_of_this_unit() {
    unit_definition_t unit = unit_definitions().front();
    std::ifstream input{unit_root().append(unit_file)};
    for (std::string key, value; input >> key >> value;) {
        const bool yes = value == "1";
        if (key == "name") {
            if (const auto* const named = find_unit(value)) {
                unit = *named;
            }
            unit.fpga_id.reset();
        } else if (key == "fpga_id") {
            unit.fpga_id = static_cast<std::uint32_t>(std::stoul(value));
        } else if (key == "controller") {
            unit.has_controller = yes;
        } else if (key == "front_panel") {
            unit.has_front_panel = yes;
        } else if (key == "page_station") {
            unit.has_page_station = yes;
        } else if (key == "serial_panel") {
            unit.has_serial_panel = yes;
        }
    }
    return unit;
}

}  // namespace sim
