#pragma once

#include <string>
#include <vector>

namespace fwpush {

/// A unit as it was named on the command line or in a list, and where it is.
struct unit_address_t {
    std::string name;   ///< as it was named
    std::string url;    ///< "http://10.0.0.7:8080", without a slash at the end; empty when there is a fault
    std::string fault;  ///< why it is not tried, for people
};

/// Reads a name: a host, host:port, or a URL that begins with http:// or https://.
[[nodiscard]] unit_address_t address_of(const std::string& name);

/// The addresses of all names; a name for a unit that was named before has that as its fault.
[[nodiscard]] std::vector<unit_address_t> addresses_of(const std::vector<std::string>& names);

/// The names in a list: one a line; "#" begins a comment, blanks around a name do not count. Throws
/// std::runtime_error when the file cannot be read.
[[nodiscard]] std::vector<std::string> read_unit_list(const std::string& path);

}  // namespace fwpush
