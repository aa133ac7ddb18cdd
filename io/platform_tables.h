#pragma once

#include <array>
#include <cstdint>

/// How a board says what it is, and what follows from it.
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

/// The paging desk, alone in having its LCD, keypad and lines in a page-station block.
inline constexpr std::uint32_t page_station_platform = 4;

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

}  // namespace io::platform_tables
