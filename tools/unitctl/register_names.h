#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tools::unitctl {

/// A place in one of the unit's two regions of device memory.
struct register_t {
    bool in_shared_region = false;  ///< otherwise in the FPGA region
    std::uint32_t offset = 0;       ///< in bytes, from the start of its region
    bool is_byte = false;           ///< a port of 8 bits; all others are words of 32
};

struct named_register_t {
    std::string name;  ///< "front_panel.control"
    register_t place;
    const char* access;  ///< "r", "w" or "rw"
};

/// Every register and every word of the shared region that the drivers know, in the order of their places.
[[nodiscard]] const std::vector<named_register_t>& named_registers();

/// The place that a text means: a name, "shared" for the start of the shared region, or a number of bytes
/// from the start of the FPGA region; any of them with "+" and a number of bytes behind it. Numbers are
/// decimal, or hexadecimal behind "0x"; a sum of 2^32 or more is no place.
[[nodiscard]] std::optional<register_t> find_register(std::string_view text);

/// The name of a place; empty when it has none.
[[nodiscard]] std::string_view name_of(const register_t& place);

}  // namespace tools::unitctl
