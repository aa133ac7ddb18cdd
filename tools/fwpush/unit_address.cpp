#include "tools/fwpush/unit_address.h"

#include <curl/curl.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <memory>
#include <set>
#include <stdexcept>
#include <string_view>

namespace fwpush {

namespace {

using url_t = std::unique_ptr<CURLU, decltype(&curl_url_cleanup)>;

std::string part_of(const url_t& url, CURLUPart part, unsigned flags = 0) {
    char* text = nullptr;
    if (curl_url_get(url.get(), part, &text, flags) != CURLUE_OK) {
        return {};
    }
    std::string result{text};
    curl_free(text);
    return result;
}

std::string fault_of(const url_t& url) {
    const auto scheme = part_of(url, CURLUPART_SCHEME);
    if (scheme != "http" && scheme != "https") {
        return "not reached by http or https";
    }
    if (!part_of(url, CURLUPART_USER).empty() || !part_of(url, CURLUPART_PASSWORD).empty()) {
        return "user and password belong into --user";
    }
    if (part_of(url, CURLUPART_PATH) != "/" || !part_of(url, CURLUPART_QUERY).empty() ||
        !part_of(url, CURLUPART_FRAGMENT).empty()) {
        return "a unit's URL ends behind host and port";
    }
    return {};
}

}  // namespace

unit_address_t address_of(const std::string& name) {
    unit_address_t address{name, {}, {}};
    const url_t url{curl_url(), &curl_url_cleanup};
    const auto text = name.find("://") == std::string::npos ? "http://" + name : name;
    const auto code = curl_url_set(url.get(), CURLUPART_URL, text.c_str(), CURLU_NON_SUPPORT_SCHEME);
    if (code != CURLUE_OK) {
        address.fault = std::string{"no host, host:port or URL: "} + curl_url_strerror(code);
        return address;
    }
    address.fault = fault_of(url);
    if (address.fault.empty()) {
        address.url = part_of(url, CURLUPART_URL, CURLU_NO_DEFAULT_PORT);
        address.url.pop_back();
    }
    return address;
}

std::vector<unit_address_t> addresses_of(const std::vector<std::string>& names) {
    std::vector<unit_address_t> addresses;
    std::set<std::string> known;
    for (const auto& name : names) {
        addresses.push_back(address_of(name));
        auto& address = addresses.back();
        // Scheme and host are the same in either case, and there is nothing else but a port.
        auto url = address.url;
        std::ranges::transform(url, url.begin(),
                               [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
        if (address.fault.empty() && !known.insert(url).second) {
            address.fault = "the same unit was named before";
        }
    }
    return addresses;
}

std::vector<std::string> read_unit_list(const std::string& path) {
    std::ifstream file{path};
    std::vector<std::string> names;
    constexpr std::string_view blanks = " \t\r";
    for (std::string line; std::getline(file, line);) {
        line.erase(std::min(line.find('#'), line.size()));
        const auto begin = line.find_first_not_of(blanks);
        if (begin != std::string::npos) {
            names.push_back(line.substr(begin, line.find_last_not_of(blanks) - begin + 1));
        }
    }
    if (!file.eof()) {
        throw std::runtime_error{path + ": " + std::strerror(errno)};
    }
    return names;
}

}  // namespace fwpush
