#include "tools/fwpush/unit_address.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(unit_address, is_a_host_with_or_without_port_or_a_url) {
    const auto url = [](const std::string& name) { return fwpush::address_of(name).url; };
    EXPECT_EQ(url("10.0.0.7"), "http://10.0.0.7");
    EXPECT_EQ(url("panel:8080"), "http://panel:8080");
    EXPECT_EQ(url("[::1]:8080"), "http://[::1]:8080");
    EXPECT_EQ(url("https://panel/"), "https://panel");
    EXPECT_EQ(url("http://panel:80"), "http://panel");
}

TEST(unit_address, that_is_none_says_so) {
    const std::string none = "no host, host:port or URL: ";
    const std::string ends = "a unit's URL ends behind host and port";
    const std::string secret = "user and password belong into --user";
    const std::pair<const char*, std::string> cases[]{
        {"", none + "No host part in the URL"},
        {"a b", none + "Bad hostname"},
        {"panel:99999", none + "Port number was not a decimal number between 0 and 65535"},
        {"panel:x", none + "Port number was not a decimal number between 0 and 65535"},
        {"ftp://panel", "not reached by http or https"},
        {"http://", none + "No host part in the URL"},
        {"http://panel/x", ends},
        {"panel?x", ends},
        {"panel#x", ends},
        {"me:secret@panel", secret},
        {"me@panel", secret},
        {":secret@panel", secret},
        {"\n", none + "Bad hostname"},
        {"http://a\x1b[2J", none + "Bad hostname"},
    };
    for (const auto& [name, fault] : cases) {
        const auto address = fwpush::address_of(name);
        EXPECT_EQ(address.fault, fault) << name;
        EXPECT_EQ(address.url, "") << name;
        EXPECT_EQ(address.name, name);
    }
}

TEST(unit_address, counts_once) {
    const auto addresses =
        fwpush::addresses_of({"panel", "http://panel:80/", "panel:81", "https://panel", "?", "?", "PANEL"});
    std::string faults;
    for (const auto& address : addresses) {
        faults += address.fault.empty() ? "." : address.fault == "the same unit was named before" ? "s" : "x";
    }
    EXPECT_EQ(faults, ".s..xxs");
}

}  // namespace
