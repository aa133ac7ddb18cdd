#pragma once

#include <array>
#include <cstdint>
#include <string_view>

/// The family's product list. To add a product, add its row to `products`; to add a platform, its row to
/// `platforms`. The look-ups of product_tables.h follow by themselves. What a product or platform means to
/// the hardware, its slots and displays, stands in io/platform_tables.h and follows from nothing here. A
/// platform's name, a product's code or a part-number text that stands twice, or a row out of order, does not
/// compile.
namespace zel::product_list {

/// Platform code by the text of "/sys/config/platform", in the order of the texts.
struct platform_row_t {
    std::string_view name;
    int code;
};

// clang-format off
inline constexpr std::array platforms{
    platform_row_t{"ampa", 3},       // amplifier, FPGA board
    platform_row_t{"ampb", 4},       // amplifier, first-generation I/O device
    platform_row_t{"ampc", 29},      // amplifier, first-generation I/O device
    platform_row_t{"base", 1},       // processing unit
    platform_row_t{"base2", 10},     // processing unit, second board
    platform_row_t{"base8", 7},      // processing unit with eight slots
    platform_row_t{"desk", 5},       // paging desk
    platform_row_t{"expb", 8},       // expander, FPGA board
    platform_row_t{"expc", 13},      // expander, first-generation I/O device
    platform_row_t{"expd", 14},      // expander, first-generation I/O device
    platform_row_t{"frame", 2},      // card frame with four slots
    platform_row_t{"frame2", 19},    // card frame, second board
    platform_row_t{"frame8", 12},    // card frame with eight slots
    platform_row_t{"headless", 6},   // processing unit delivered without its front panel
    platform_row_t{"lite", 15},      // small processing unit, lite I/O device
    platform_row_t{"mixm", 9},       // mixer
    platform_row_t{"studio", 16},    // studio units, told apart by their part numbers
    platform_row_t{"vnode", 17},     // node without hardware of its own
};
// clang-format on

/// Names of the CPUs on which a product runs its control, network and processing work; unused places are
/// empty.
struct cpu_vectors_t {
    std::array<std::string_view, 2> control;
    std::array<std::string_view, 2> network;
    std::array<std::string_view, 4> processing;
};

inline constexpr cpu_vectors_t one_core{{"cpu0"}, {}, {"cpu0"}};
inline constexpr cpu_vectors_t two_cores{{"cpu0"}, {}, {"cpu1"}};
inline constexpr cpu_vectors_t two_cores_networked{{"cpu0"}, {"cpu0"}, {"cpu1"}};
inline constexpr cpu_vectors_t four_cores{{"cpu0"}, {"cpu1"}, {"cpu2", "cpu3"}};
inline constexpr cpu_vectors_t eight_cores{
    {"cpu0", "cpu1"}, {"cpu2", "cpu3"}, {"cpu4", "cpu5", "cpu6", "cpu7"}};

/// One product. The attributes are: hardware family, board generation, built-in audio ports in pairs, and
/// whether it has a second network port.
struct product_row_t {
    std::uint32_t code;     ///< the numeric part number, also called model code
    std::string_view text;  ///< "/sys/config/part_number"
    std::string_view short_name;
    std::string_view display_name;
    std::array<int, 4> attributes;
    const cpu_vectors_t* cpus;  ///< null: the defaults of every unlisted product
};

// clang-format off
inline constexpr std::array products{
    //            code  text       short name        display name            attributes     CPUs
    product_row_t{  1, "BU-100",  "base_unit",      "Base Unit 100",        {1, 1, 0, 0}, &two_cores},
    product_row_t{  2, "CF-4",    "card_frame_4",   "Card Frame 4",         {2, 1, 0, 0}, &one_core},
    product_row_t{  3, "AA-1",    "amp_a",          "Amp Model A",          {3, 1, 4, 0}, &one_core},
    product_row_t{  4, "PD-32",   "paging_desk",    "Paging Desk 32",       {4, 1, 1, 0}, &one_core},
    product_row_t{  5, "BU-200",  "base_unit_2",    "Base Unit 200",        {1, 2, 0, 1}, &two_cores_networked},
    product_row_t{  6, "CF-4B",   "card_frame_4b",  "Card Frame 4 B",       {2, 2, 0, 1}, &two_cores},
    product_row_t{  7, "BU-800",  "base_unit_800",  "Base Unit 800",        {1, 3, 0, 1}, &four_cores},
    product_row_t{  8, "MM-8",    "mixer_8",        "Mixer Model M",        {5, 1, 8, 0}, &two_cores},
    product_row_t{  9, "EB-4",    "expander_b",     "Expander Model B",     {6, 1, 2, 0}, &one_core},
    product_row_t{ 10, "AB-3",    "amp_b",          "Amp Model B",          {3, 2, 4, 0}, &one_core},
    product_row_t{ 11, "BL-3",    "base_lite",      "Base Unit Lite",       {1, 4, 2, 0}, &one_core},
    product_row_t{ 12, "EC-1",    "expander_c",     "Expander Model C",     {6, 2, 4, 0}, &one_core},
    product_row_t{ 13, "ED-1",    "expander_d",     "Expander Model D",     {6, 3, 4, 1}, &one_core},
    product_row_t{ 14, "AC-2",    "amp_c",          "Amp Model C",          {3, 3, 4, 1}, &one_core},
    product_row_t{ 15, "VN-7",    "node_7",         "Virtual Node 7",       {7, 0, 0, 0}, nullptr},
    product_row_t{ 66, "BU-100S", "base_unit_s",    "Base Unit 100 S",      {1, 1, 0, 0}, &two_cores},
    product_row_t{ 67, "BU-200S", "base_unit_2s",   "Base Unit 200 S",      {1, 2, 0, 1}, &two_cores_networked},
    product_row_t{ 85, "SU-7",    "studio_7",       "Studio Unit 7",        {8, 1, 8, 1}, &eight_cores},
    product_row_t{ 93, "SU-2",    "studio_2",       "Studio Unit 2",        {8, 1, 2, 1}, &four_cores},
    product_row_t{ 94, "SU-2D",   "studio_2d",      "Studio Unit 2 D",      {8, 2, 2, 1}, &four_cores},
    product_row_t{100, "SU-7D",   "studio_7d",      "Studio Unit 7 D",      {8, 2, 8, 1}, &eight_cores},
    product_row_t{137, "VN-3",    "node_3",         "Virtual Node 3",       {7, 0, 0, 0}, nullptr},
};
// clang-format on

}  // namespace zel::product_list
