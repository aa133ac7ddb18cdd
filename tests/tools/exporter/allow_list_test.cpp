#include "tools/exporter/allow_list.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string>

namespace {

using exporter::allow_list_t;
using exporter::parse_target;

constexpr std::uint16_t usual_port = 80;

bool allows(const std::string& entry, const std::string& target) {
    allow_list_t list{usual_port};
    list.add(entry);
    const auto parsed = parse_target(target, usual_port);
    EXPECT_TRUE(parsed) << target;
    return parsed && list.allows(*parsed);
}

TEST(targets, are_names_and_addresses_with_or_without_a_port) {
    const std::pair<const char*, const char*> cases[]{
        {"Unit-7.Studio.example", "unit-7.studio.example:80"},
        {"unit_7:8080", "unit_7:8080"},
        {"10.0.0.7", "10.0.0.7:80"},
        {"FD00::7", "[fd00::7]:80"},
        {"[fd00::7]:1", "[fd00::7]:1"},
        {"10.example:65535", "10.example:65535"},
        {"unit-7.", "unit-7.:80"},
    };
    for (const auto& [text, authority] : cases) {
        const auto target = parse_target(text, usual_port);
        EXPECT_EQ(target ? target->authority() : "", authority) << text;
    }
    for (const char* const text :
         {"", ":80", "unit:", "unit:0", "unit:65536", "unit:+1", "unit:80:80", "unit:*", "unit/24",
          "10.0.0.0/24", "http://unit", "user@unit", "unit?x", "unit/../x", "unit unit", "unit\n", "-unit",
          ".unit", "[unit]", "[", "[fd00::7", "[]", "[fd00::7]80", "[fd00::7]]:80", "fd00::7%eth0",
          "[10.0.0.7]",
          // What a resolver may take for an address though it does not look like one.
          "127.1", "2130706433", "unit.1", "0x7f000001", "10.0.0.0x7", "10.0.0.256", "1."}) {
        EXPECT_FALSE(parse_target(text, usual_port)) << text;
    }
    EXPECT_TRUE(parse_target(std::string(253, 'a'), usual_port));
    EXPECT_FALSE(parse_target(std::string(254, 'a'), usual_port));
}

TEST(allow_list, a_network_allows_its_addresses_and_no_name) {
    EXPECT_TRUE(allows("10.1.16.0/20", "10.1.16.0"));
    EXPECT_TRUE(allows("10.1.16.0/20", "10.1.31.255"));
    EXPECT_TRUE(allows("10.1.16.0/20", "::ffff:10.1.31.255"));
    EXPECT_FALSE(allows("10.1.16.0/20", "10.1.32.0"));
    EXPECT_FALSE(allows("10.1.16.0/20", "10.1.15.255"));
    EXPECT_FALSE(allows("0.0.0.0/0", "fd00::7"));
    EXPECT_FALSE(allows("::/0", "localhost"));
    EXPECT_TRUE(allows("fd00:0:0:8000::/49", "fd00::ffff:0:0:0:1"));
    EXPECT_FALSE(allows("fd00:0:0:8000::/49", "fd00::7fff:0:0:0:1"));
    EXPECT_TRUE(allows("10.0.0.7", "10.0.0.7"));
    EXPECT_TRUE(allows("10.0.0.7/32", "10.0.0.7"));
    EXPECT_FALSE(allows("fd00::7/128", "fd00::6"));
    EXPECT_FALSE(allows("10.0.0.7", "10.0.0.6"));
    EXPECT_FALSE(allows("unit-7", "unit-7.example"));
    EXPECT_FALSE(allow_list_t{usual_port}.allows(*parse_target("unit-7", usual_port)));
}

TEST(allow_list, a_port_is_the_usual_one_unless_it_is_said) {
    EXPECT_FALSE(allows("10.0.0.0/8", "10.0.0.7:22"));
    EXPECT_TRUE(allows("10.0.0.0/8:22", "10.0.0.7:22"));
    EXPECT_FALSE(allows("10.0.0.0/8:22", "10.0.0.7"));
    EXPECT_TRUE(allows("[fd00::]/8:*", "[fd00::7]:65535"));
    EXPECT_TRUE(allows("unit-7:*", "UNIT-7:1"));
}

TEST(allow_list, says_which_entry_of_a_file_is_none) {
    allow_list_t list{usual_port};
    const auto path = testing::TempDir() + "fwstatus_allow_list";
    std::ofstream{path} << "# the studio\n\n  10.0.0.0/24:8080 \t# all of it\r\nunit-7\n10.0.0.0/33\n";
    try {
        list.add_file(path);
        FAIL();
    } catch (const std::invalid_argument& fault) {
        EXPECT_EQ(fault.what(), path + ":5: \"10.0.0.0/33\" is no name, address or network like "
                                       "10.0.0.0/24, with or without :PORT");
    }
    EXPECT_EQ(list.size(), 2u);
    EXPECT_TRUE(list.allows(*parse_target("10.0.0.255:8080", usual_port)));
    std::remove(path.c_str());
    for (const auto& [file, error] :
         {std::pair{path, "No such file or directory"}, {"/", "Is a directory"}}) {
        try {
            list.add_file(file);
            FAIL();
        } catch (const std::system_error& fault) {
            EXPECT_EQ(fault.what(), "cannot read " + file + ": " + error);
        }
    }
    for (const char* const entry : {"10.0.0.0/", "10.0.0.0/-1", "fd00::/129", "unit/24", "*", "*.example"}) {
        EXPECT_THROW(list.add(entry), std::invalid_argument) << entry;
    }
}

}  // namespace
