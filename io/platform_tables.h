#pragma once

#include <array>
#include <cstdint>
#include <string_view>

/// How a board says what it is, and what follows from it; what the drivers ask of a platform id stands at the
/// end.
namespace io::platform_tables {

/// A board's FPGA identification: word 0 of the FPGA region, and what it settles. A platform appears once,
/// so the slot count also follows from the platform alone.
struct fpga_row_t {
    std::uint32_t fpga_id;
    std::uint32_t platform_id;
    std::uint32_t slot_count;
};

inline constexpr std::array fpgas{
    fpga_row_t{0xCAFEBABE, 1, 1},   //
    fpga_row_t{0xABCDEF01, 2, 4},   //
    fpga_row_t{0xDEADF00D, 3, 1},   //
    fpga_row_t{0xFEF1F0FD, 4, 1},   //
    fpga_row_t{0xBA5EBA11, 5, 1},   //
    fpga_row_t{0xB01DFACE, 6, 4},   //
    fpga_row_t{0xD15C105E, 7, 8},   //
    fpga_row_t{0x50C1AB1E, 8, 8},   //
    fpga_row_t{0xB1F0CA15, 9, 1},   //
    fpga_row_t{0xCAB005E5, 13, 8},  //
    fpga_row_t{0x0DDBA115, 16, 1},  //
    fpga_row_t{0x5EAF00D5, 18, 2},  //
};

/// A first-generation I/O device is the same on every board: the text of "/sys/config/platform" tells them
/// apart.
struct first_generation_row_t {
    std::string_view platform;
    std::uint32_t platform_id;
    std::uint32_t slot_count;
};

inline constexpr std::array first_generation{
    first_generation_row_t{"expc", 12, 1},
    first_generation_row_t{"ampc", 17, 2},
    first_generation_row_t{"expd", 14, 1},
};
inline constexpr first_generation_row_t other_first_generation{"", 10, 3};

/// A board with a lite I/O device.
inline constexpr std::uint32_t lite_platform = 11;
inline constexpr std::uint32_t lite_slot_count = 3;

/// Slots of units without an I/O device, by model code: those of the studio units, which share a platform id,
/// and of the virtual nodes, which have none.
struct model_row_t {
    std::uint32_t model_code;
    std::uint32_t slot_count;
};

inline constexpr std::uint32_t studio_platform = 15;
inline constexpr std::array studios{
    model_row_t{85, 7},
    model_row_t{93, 2},
    model_row_t{94, 2},
    model_row_t{100, 7},
};

inline constexpr std::string_view node_platform = "vnode";
inline constexpr std::array nodes{model_row_t{137, 3}};
inline constexpr std::uint32_t other_node_slot_count = 7;

/// What a process without hardware (in a container, under a hypervisor) stands in for, by the platform code
/// of the property engine.
struct emulated_row_t {
    int platform_code;
    std::uint32_t platform_id;
    std::uint32_t slot_count;
};

inline constexpr std::array emulated{
    emulated_row_t{2, 2, 4},  emulated_row_t{12, 2, 8},  emulated_row_t{19, 6, 8},
    emulated_row_t{4, 10, 3}, emulated_row_t{13, 12, 1}, emulated_row_t{29, 17, 2},
};

/// By platform id; 0 is a platform not settled.
inline constexpr std::array<const char*, 19> display_names{
    "Unrecognized",      // 0
    "Base Unit",         // 1
    "Card Frame",        // 2
    "Amp Model A",       // 3
    "Paging Desk",       // 4
    "Base Unit",         // 5
    "Card Frame",        // 6
    "Base Unit",         // 7
    "Mixer Model M",     // 8
    "Expander Model B",  // 9
    "Amp Model B",       // 10
    "Base Unit (Lite)",  // 11
    "Expander Model C",  // 12
    "Base Unit",         // 13
    "Expander Model D",  // 14
    "Studio Unit",       // 15
    "Base Unit",         // 16
    "Amp Model C",       // 17
    "Base Unit",         // 18
};

// What is on which board, by platform id.

using platform_id_t = std::uint32_t;

/// The LCD front panel, unless the platform code or the model code says that it was delivered without.
inline constexpr std::array<platform_id_t, 5> with_front_panel{1, 2, 5, 6, 7};
inline constexpr int platform_code_without_front_panel = 6;
inline constexpr std::array<std::uint32_t, 2> models_without_front_panel{66, 67};

/// Its front panel is sent no image of the LEDs.
inline constexpr platform_id_t platform_without_led_image = 7;

/// Its front panel's screens know one card slot instead of four.
inline constexpr std::array<platform_id_t, 2> with_one_card_slot{1, 5};

/// The paging desk, alone in having its LCD, keypad and lines in a page-station block.
inline constexpr platform_id_t page_station_platform = 4;

inline constexpr platform_id_t serial_panel_platform = 9;

/// No FPGA controller block: the status input is a GPIO line of the processor.
inline constexpr std::array<platform_id_t, 2> with_gpio_line{12, 17};
/// The level of the status input can be read by itself.
inline constexpr std::array<platform_id_t, 2> with_input_level{4, 9};

inline constexpr std::array<platform_id_t, 7> with_temperature_sensor{2, 4, 6, 7, 8, 9, 13};
/// Of them the one that may be fitted without: no answer from the sensor is no failure there.
inline constexpr platform_id_t platform_with_optional_sensor = 7;
inline constexpr std::array<platform_id_t, 2> with_processor_temperature{12, 14};

/// Two fans: driven by temperature, at full speed, or at a speed of the mixer's own.
inline constexpr std::array<platform_id_t, 5> with_fans{2, 6, 7, 8, 13};
inline constexpr std::array<platform_id_t, 2> fans_follow_temperature{2, 6};
inline constexpr std::array<platform_id_t, 2> fans_at_full_speed{7, 13};
inline constexpr platform_id_t mixer_platform = 8;

}  // namespace io::platform_tables
