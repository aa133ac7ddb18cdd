#include "tools/exporter/allow_list.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <stdexcept>
#include <system_error>

namespace exporter {

namespace {

constexpr unsigned all_bits = 128;

bool begin_alike(const address_t& one, const address_t& other, unsigned bits) {
    const auto bytes = bits / 8;
    const auto mask = static_cast<std::uint8_t>(0xff00u >> (bits % 8));
    return std::equal(one.begin(), one.begin() + bytes, other.begin()) &&
           (bits % 8 == 0 || ((one[bytes] ^ other[bytes]) & mask) == 0);
}

}  // namespace

void allow_list_t::add(std::string_view entry) {
    const auto parts = split_host(entry);
    if (!parts) {
        throw std::invalid_argument{
            "\"" + std::string{entry} +
            "\" is no name, address or network like 10.0.0.0/24, with or without :PORT"};
    }
    auto& added = entries_.emplace_back();
    if (parts->address) {
        added.address = *parts->address;
        added.bits = parts->bits.value_or(all_bits);
    } else {
        added.name = parts->host;
    }
    if (parts->port != "*") {
        added.port = parse_port(parts->port).value_or(usual_port_);
    }
}

void allow_list_t::add_file(const std::string& path) {
    std::ifstream file{path};
    std::string line;
    for (std::size_t number = 1; std::getline(file, line); ++number) {
        constexpr const char* blanks = " \t\r";
        line.resize(std::min(line.find('#'), line.size()));
        line.erase(line.find_last_not_of(blanks) + 1);
        line.erase(0, line.find_first_not_of(blanks));
        if (line.empty()) {
            continue;
        }
        try {
            add(line);
        } catch (const std::invalid_argument& fault) {
            throw std::invalid_argument{path + ":" + std::to_string(number) + ": " + fault.what()};
        }
    }
    if (!file.eof()) {
        throw std::system_error{errno, std::generic_category(), "cannot read " + path};
    }
}

bool allow_list_t::allows(const target_t& target) const {
    return std::any_of(entries_.begin(), entries_.end(), [&](const entry_t& entry) {
        const bool host = entry.name.empty()
                              ? target.address && begin_alike(*target.address, entry.address, entry.bits)
                              : entry.name == target.host;
        return host && (!entry.port || *entry.port == target.port);
    });
}

}  // namespace exporter
