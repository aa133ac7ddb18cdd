#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// What the product list (platform/product_list.h) says about a platform or a part number.
namespace zel {

/// The platform code of a text of "/sys/config/platform". Throws std::out_of_range ("map::at") when no
/// platform has that name.
[[nodiscard]] int platform_code(std::string_view platform_name);

/// The numeric part number of a product's part-number text; 0 when no product has it.
[[nodiscard]] std::uint32_t part_number_code(std::string_view part_number_text);

/// The product's short name; "unknown" for a part number that is not listed.
[[nodiscard]] std::string short_name(std::uint32_t part_number);
/// The product's display name; "Unknown" for a part number that is not listed.
[[nodiscard]] std::string display_name(std::uint32_t part_number);

/// The product's first and second attribute; 0 for a part number that is not listed.
[[nodiscard]] int hardware_family(std::uint32_t part_number);
[[nodiscard]] int board_generation(std::uint32_t part_number);

/// The CPUs for a product's control, network and processing work. A part number without CPUs of its own gets
/// defaults, with a warning through the process's default logger; only the control CPUs of part number 0,
/// the product that is not known, are none at all and without a warning.
[[nodiscard]] std::vector<std::string> control_cpus(std::uint32_t part_number);
[[nodiscard]] std::vector<std::string> network_cpus(std::uint32_t part_number);
[[nodiscard]] std::vector<std::string> processing_cpus(std::uint32_t part_number);

}  // namespace zel
