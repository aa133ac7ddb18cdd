#include "sim/root/unit_definition.h"

#include <algorithm>
#include <array>

namespace sim {

namespace {

constexpr std::array units{
    unit_definition_t{
        .name = "base-unit",
        .description = "processing unit with an LCD front panel",
        .properties = {.platform = "base", .part_number = "BU-100"},
        .fpga_id = 0xCAFEBABE,
        .has_front_panel = true,
        .expected = {1, 1, "Base Unit", display_e::front_panel},
    },
    unit_definition_t{
        .name = "card-frame",
        .description = "frame for four cards, with fans and an LCD front panel",
        .properties = {.platform = "frame", .part_number = "CF-4"},
        .fpga_id = 0xABCDEF01,
        .has_front_panel = true,
        .expected = {2, 4, "Card Frame", display_e::front_panel},
    },
    unit_definition_t{
        .name = "large-base-unit",
        .description = "processing unit with eight slots, fans and an LCD front panel",
        .properties = {.platform = "base8", .part_number = "BU-800"},
        .fpga_id = 0xD15C105E,
        .has_front_panel = true,
        .expected = {7, 8, "Base Unit", display_e::front_panel},
    },
    unit_definition_t{
        .name = "page-station",
        .description = "paging desk with keypad and LCD",
        .properties = {.arch = "arm", .platform = "desk", .part_number = "PD-32"},
        .fpga_id = 0xFEF1F0FD,
        .has_page_station = true,
        .expected = {4, 1, "Paging Desk", display_e::page_station},
    },
    unit_definition_t{
        .name = "serial-panel",
        .description = "expander with a seven-segment panel on its serial port",
        .properties = {.arch = "arm", .platform = "expb", .part_number = "EB-4"},
        .fpga_id = 0xB1F0CA15,
        .has_serial_panel = true,
        .expected = {9, 1, "Expander Model B", display_e::serial_panel},
    },
    unit_definition_t{
        .name = "mixer",
        .description = "mixer with lamps and fans but no display of its own",
        .properties = {.platform = "mixm", .part_number = "MM-8"},
        .fpga_id = 0x50C1AB1E,
        .has_lamps = true,
        .expected = {8, 8, "Mixer Model M", display_e::none},
    },
    unit_definition_t{
        .name = "container",
        .description = "emulated card frame: the daemon in a container, no hardware at all",
        .properties = {.arch = "x86_64", .platform = "frame", .part_number = "CF-4"},
        .has_controller = false,
        .in_container = true,
        .expected = {2, 4, "Card Frame", display_e::none},
    },
    unit_definition_t{
        .name = "virtual-machine",
        .description = "emulated amplifier: the daemon under a hypervisor, no hardware at all",
        .properties = {.arch = "x86_64", .platform = "ampc", .part_number = "AC-2"},
        .has_controller = false,
        .under_hypervisor = true,
        .expected = {17, 2, "Amp Model C", display_e::none},
    },
    unit_definition_t{
        .name = "omap-io",
        .description = "expander with the first-generation I/O device",
        .properties = {.arch = "a8_arm", .platform = "expd", .part_number = "ED-1"},
        .has_controller = false,
        .has_omap_io = true,
        .expected = {14, 1, "Expander Model D", display_e::none},
    },
    unit_definition_t{
        .name = "expander-c",
        .description = "expander with the first-generation I/O device and its status input on a GPIO line",
        .properties = {.arch = "a8_arm", .platform = "expc", .part_number = "EC-1"},
        .has_controller = false,
        .has_omap_io = true,
        .expected = {12, 1, "Expander Model C", display_e::none},
    },
    unit_definition_t{
        .name = "lite-io",
        .description = "small processing unit with the lite I/O device",
        .properties = {.arch = "a8_arm", .platform = "lite", .part_number = "BL-3"},
        .has_controller = false,
        .has_lite_io = true,
        .expected = {11, 3, "Base Unit (Lite)", display_e::none},
    },
    unit_definition_t{
        .name = "studio",
        .description = "studio unit, known by its part number alone",
        .properties = {.arch = "aarch64", .platform = "studio", .part_number = "SU-2"},
        .has_controller = false,
        .expected = {15, 2, "Studio Unit", display_e::none},
    },
    unit_definition_t{
        .name = "virtual-node",
        .description = "node without hardware that serves three slots",
        .properties = {.arch = "aarch64", .platform = "vnode", .part_number = "VN-3"},
        .has_controller = false,
        .expected = {0, 3, "Unrecognized", display_e::none},
    },
    unit_definition_t{
        .name = "unknown-fpga",
        .description = "board whose FPGA identifies itself as none that is known",
        .properties = {.platform = "base", .part_number = "BU-100"},
        .fpga_id = 0x12345678,
        .expected = {0, 0, "Unrecognized", display_e::none},
    },
    unit_definition_t{
        .name = "no-driver",
        .description = "board whose I/O driver failed to load",
        .properties = {.platform = "base", .part_number = "BU-100"},
        .expected = {0, 0, "Unrecognized", display_e::none},
    },
};

}  // namespace

std::string_view display_name(display_e display) {
    switch (display) {
    case display_e::front_panel:
        return "LCD front panel";
    case display_e::page_station:
        return "page station";
    case display_e::serial_panel:
        return "serial panel";
    case display_e::none:
        break;
    }
    return "no display";
}

std::span<const unit_definition_t> unit_definitions() {
    return units;
}

const unit_definition_t* find_unit(std::string_view name) {
    const auto* const unit = std::ranges::find(units, name, &unit_definition_t::name);
    return unit == units.end() ? nullptr : unit;
}

}  // namespace sim
