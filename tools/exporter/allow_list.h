#pragma once

#include "tools/exporter/target.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace exporter {

/// The units that may be asked. Whoever reaches the exporter chooses a target; without such a list it would
/// fetch from any machine that it can reach.
///
/// An entry is a name, an address, or a network ("10.0.0.0/24"), each with a port, with ":*" for any port, or
/// without for the usual one. A name allows that name, whatever it resolves to; a network allows addresses
/// and no name that resolves into it.
class allow_list_t {
  public:
    /// @param usual_port  of entries without a port.
    explicit allow_list_t(std::uint16_t usual_port) : usual_port_{usual_port} {}

    /// Throws std::invalid_argument, with a text for people, when the entry is none.
    void add(std::string_view entry);

    /// Adds a file's entries: one a line, with blanks around it, "#" begins a comment. Throws
    /// std::invalid_argument ("FILE:LINE: what is wrong") or std::system_error when it cannot be read.
    void add_file(const std::string& path);

    [[nodiscard]] bool allows(const target_t& target) const;
    [[nodiscard]] std::size_t size() const { return entries_.size(); }

  private:
    struct entry_t {
        std::string name;  ///< empty for addresses
        address_t address{};
        unsigned bits = 0;
        std::optional<std::uint16_t> port;  ///< nothing for any
    };

    std::uint16_t usual_port_;
    std::vector<entry_t> entries_;
};

}  // namespace exporter
