#include "tools/exporter/target.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <limits>

namespace exporter {

namespace {

constexpr unsigned mapped_bits = 96;  // what stands before an IPv4 address in the 16 bytes
constexpr std::size_t longest_name = 253;

template <typename number_t>
std::optional<number_t> parse_number(std::string_view digits) {
    number_t number = 0;
    const auto [end, fault] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (digits.empty() || fault != std::errc{} || end != digits.data() + digits.size()) {
        return std::nullopt;
    }
    return number;
}

std::optional<address_t> parse_address(const std::string& text) {
    address_t address{};
    if (::inet_pton(AF_INET6, text.c_str(), address.data()) == 1) {
        return address;
    }
    in_addr four{};
    if (::inet_pton(AF_INET, text.c_str(), &four) != 1) {
        return std::nullopt;
    }
    address = {};
    address[10] = 0xff;
    address[11] = 0xff;
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(&four);
    std::copy_n(bytes, sizeof four, address.begin() + mapped_bits / 8);
    return address;
}

bool is_name(std::string_view text) {
    const auto fits = [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '-' || c == '.' || c == '_';
    };
    if (text.empty() || text.size() > longest_name || text.front() == '-' || text.front() == '.' ||
        !std::all_of(text.begin(), text.end(), fits)) {
        return false;
    }
    auto last = text.substr(0, text.size() - (text.back() == '.' ? 1 : 0));
    last = last.substr(last.find_last_of('.') + 1);  // npos + 1 is 0
    const bool number = last.starts_with("0x") || last.find_first_not_of("0123456789") == last.npos;
    return !number;
}

// Takes the host off the front of the text.
std::string_view take_host(std::string_view& rest) {
    if (rest.starts_with('[')) {
        const auto end = rest.find(']');
        if (end == rest.npos) {
            return {};
        }
        const auto host = rest.substr(1, end - 1);
        rest.remove_prefix(end + 1);
        // Only an IPv6 address needs the brackets.
        return host.find(':') == host.npos ? std::string_view{} : host;
    }
    const bool six = std::count(rest.begin(), rest.end(), ':') > 1;
    const auto host = rest.substr(0, rest.find_first_of(six ? "/" : "/:"));
    rest.remove_prefix(host.size());
    return host;
}

}  // namespace

std::optional<std::uint16_t> parse_port(std::string_view text) {
    const auto port = parse_number<std::uint16_t>(text);
    return port && *port != 0 ? port : std::nullopt;
}

std::optional<host_text_t> split_host(std::string_view text) {
    auto rest = text;
    host_text_t result;
    result.host = take_host(rest);
    std::transform(result.host.begin(), result.host.end(), result.host.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    result.address = parse_address(result.host);
    if (!result.address && !is_name(result.host)) {
        return std::nullopt;
    }
    if (rest.starts_with('/')) {
        const auto digits = rest.substr(1, std::min(rest.find(':'), rest.size()) - 1);
        const auto bits = parse_number<unsigned>(digits);
        const unsigned before = result.host.find(':') == std::string::npos ? mapped_bits : 0;
        if (!bits || !result.address || *bits > 128 - before) {
            return std::nullopt;
        }
        result.bits = *bits + before;
        rest.remove_prefix(digits.size() + 1);
    }
    if (!rest.empty()) {
        result.port = rest.substr(1);
        if (rest.front() != ':' || (result.port != "*" && !parse_port(result.port))) {
            return std::nullopt;
        }
    }
    return result;
}

std::string target_t::authority() const {
    const bool six = host.find(':') != std::string::npos;
    return (six ? "[" + host + "]" : host) + ":" + std::to_string(port);
}

std::optional<target_t> parse_target(std::string_view text, std::uint16_t usual_port) {
    auto parts = split_host(text);
    if (!parts || parts->bits || parts->port == "*") {
        return std::nullopt;
    }
    return target_t{std::move(parts->host), parts->address, parse_port(parts->port).value_or(usual_port)};
}

}  // namespace exporter
