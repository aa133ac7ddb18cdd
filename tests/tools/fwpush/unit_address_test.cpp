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
    for (const std::string name :
         {"", "a b", "panel:99999", "panel:x", "ftp://panel", "http://", "http://panel/x", "panel?x",
          "panel#x", "me:secret@panel", "\n", "http://a\x1b[2J"}) {
        const auto address = fwpush::address_of(name);
        EXPECT_NE(address.fault, "") << name;
        EXPECT_EQ(address.url, "") << name;
        EXPECT_EQ(address.name, name);
    }
}

TEST(unit_address, counts_once) {
    const auto addresses =
        fwpush::addresses_of({"panel", "http://panel:80/", "panel:81", "https://panel", "?", "?", "PANEL"});
    std::string faults;
    for (const auto& address : addresses) {
        faults += address.fault.empty() ? '.' : 'x';
    }
    EXPECT_EQ(faults, ".x..xxx");
}

}  // namespace
