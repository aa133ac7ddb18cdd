#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

namespace sim {

/// The display that the daemon is expected to find.
enum class display_e : std::uint8_t { none, front_panel, page_station, serial_panel };

[[nodiscard]] std::string_view display_name(display_e display);

/// What the property engine of a unit answers below "/sys/config/".
struct unit_properties_t {
    std::string_view arch = "powerpc";
    std::string_view platform = "base";
    std::string_view part_number = "BU-100";
    std::string_view fw_server_crc = "5d0c2b7e";
    std::string_view fw_server_hash = "b3f1a1c4";
    std::string_view fw_server_crc_compat = "1e55a0d2";
    std::string_view fw_server_hash_compat = "77d09c3b";
};

/// What the daemon is expected to settle on this unit.
struct unit_expectation_t {
    std::uint32_t platform_id = 0;
    std::uint32_t slot_count = 0;
    std::string_view platform_name = "Unrecognized";
    display_e display = display_e::none;
};

/// A kind of unit as data: how it identifies itself, what is plugged in, which files it has. Copy one and
/// change a member for a unit that is out of the ordinary.
struct unit_definition_t {
    std::string_view name;
    std::string_view description;
    unit_properties_t properties;

    // The board. Without an FPGA id there is no "/dev/io".
    std::optional<std::uint32_t> fpga_id{};
    bool has_controller = true;  ///< unit registers, fans and lamps, controller SPI with temperature sensor
    bool has_front_panel = false;
    bool has_page_station = false;
    bool has_lamps = false;
    bool has_serial_panel = false;  ///< a module answers on "/dev/ttyS0"

    // Files
    bool has_omap_io = false;  ///< "/dev/omap_io"
    bool has_lite_io = false;  ///< "/dev/lite_io"
    bool in_container = false;
    bool under_hypervisor = false;

    unit_expectation_t expected;
};

/// All kinds of unit, in the order to show them.
[[nodiscard]] std::span<const unit_definition_t> unit_definitions();

/// The definition of that name, or nullptr.
[[nodiscard]] const unit_definition_t* find_unit(std::string_view name);

}  // namespace sim
