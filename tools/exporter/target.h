#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace exporter {

/// An address in 16 bytes. IPv4 ones are mapped ("::ffff:10.0.0.1"), so that either spelling is the same
/// host.
using address_t = std::array<std::uint8_t, 16>;

/// A host as people write it: "unit-7", "10.0.0.7", "fd00::7", with a port "unit-7:8080" or "[fd00::7]:8080",
/// and for a network behind the address its bits, "10.0.0.0/24" or "[fd00::]/64:8080".
struct host_text_t {
    std::string host;                  ///< name or address, in lower case and without brackets
    std::optional<address_t> address;  ///< of a host that is an address
    std::optional<unsigned> bits;      ///< 0 to 128, counted in the 16 bytes; only behind an address
    std::string port;                  ///< digits or "*"; empty when there is none
};

/// @return nothing for everything else. So are numbers that a resolver takes for an address though they do
/// not
///         look like one ("127.1", "0x7f000001"): what is compared has to be what is connected to.
[[nodiscard]] std::optional<host_text_t> split_host(std::string_view text);

/// A unit's web server.
struct target_t {
    std::string host;
    std::optional<address_t> address;
    std::uint16_t port = 0;

    /// Host and port as a URL has them.
    [[nodiscard]] std::string authority() const;
};

/// Reads a host with or without a port. @return nothing when it is none, or has bits or "*".
[[nodiscard]] std::optional<target_t> parse_target(std::string_view text, std::uint16_t usual_port);

/// A port from 1 to 65535 in decimal digits.
[[nodiscard]] std::optional<std::uint16_t> parse_port(std::string_view text);

}  // namespace exporter
