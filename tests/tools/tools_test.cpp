#include "platform/version.h"
#include "sim/board/keypad_setup.h"
#include "sim/peers/engine.h"
#include "sim/unit/unit.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <string>
#include <vector>

namespace {

/// A unit's files and property engine, with the tools run on it in its root.
class tools_test : public testing::Test {
  protected:
    tools_test() {
        engine_.observe([this](const std::string& name, const std::string& value) {
            if (name == "/fixed" && value != "1") {
                engine_.set(name, "1");
            }
        });
        EXPECT_TRUE(engine_.start());
    }

    // Everything it prints comes back, on whichever output.
    std::FILE* start(const std::string& command) const {
        const auto line =
            "cd " + unit_.path() + " && FWSTATUS_UNIT_ROOT=$PWD timeout 10 " + command + " 2>&1";
        return ::popen(line.c_str(), "r");  // NOLINT(cert-env33-c)
    }

    // What a command still prints, and behind it its exit status.
    static std::string rest_of(std::FILE* output) {
        std::string text;
        for (int character = 0; (character = std::fgetc(output)) != EOF;) {
            text += static_cast<char>(character);
        }
        return text + std::to_string(WEXITSTATUS(::pclose(output)));
    }

    std::string run(const std::string& command) const { return rest_of(start(command)); }

    sim::unit_root_t unit_{*sim::find_unit("container")};
    sim::engine_t engine_;
};

using propctl = tools_test;
using hextool = tools_test;

TEST_F(propctl, reads_sets_creates_and_lists) {
    EXPECT_EQ(run(PROPCTL " list"), "propctl: no such property: there are none\n1");
    engine_.set("/a/one", "1");
    engine_.set("/a/two", "two words");
    EXPECT_EQ(run(PROPCTL " get /a/two /a/one"), "two words\n1\n0");
    EXPECT_EQ(run(PROPCTL " get -- /a/two"), "two words\n0");
    EXPECT_EQ(run("sh -c '" PROPCTL " get /a/one >/dev/full'"),
              "propctl: cannot write to standard output\n1");
    EXPECT_EQ(run("sh -c '" PROPCTL " monitor /a/one >/dev/full'"),
              "propctl: cannot write to standard output\n1");
    EXPECT_EQ(run(PROPCTL " get /a/two /d /a/one"), "propctl: no such property: /d\ntwo words\n1");
    EXPECT_EQ(run(PROPCTL " set /b 1"), "propctl: no such property: /b\n1");
    EXPECT_EQ(run(PROPCTL " create /b '-5 %'"), "0");
    EXPECT_EQ(run(PROPCTL " create /c"), "0") << "it is known, and has no value";
    EXPECT_EQ(run(PROPCTL " set /c --help"), "0");
    EXPECT_EQ(run(PROPCTL " list"), "/a/one=1\n/a/two=two words\n/b=-5 %\n/c=--help\n0");
    EXPECT_EQ(run(PROPCTL " list /a/t"), "/a/two=two words\n0");
    EXPECT_EQ(run(PROPCTL " list /d"), "propctl: no such property: /d...\n1");
    EXPECT_EQ(run(PROPCTL " monitor /a/one /d"), "propctl: no such property: /d\n1");
    engine_.answer_reads(0);
    EXPECT_EQ(run(PROPCTL " set /b 1"), "propctl: the property engine does not answer\n3");
    engine_.answer_reads({});
    engine_.set("/fixed", "1");
    EXPECT_EQ(run(PROPCTL " set /fixed 2"), "propctl: /fixed is \"1\" all the same\n1");
    engine_.stay_silent(true);
    for (const auto* const command : {" get /b", " create /b", " list", " monitor /b"}) {
        EXPECT_EQ(run(PROPCTL + std::string{command}), "propctl: the property engine does not answer\n3");
    }
    engine_.shut_down();
    EXPECT_EQ(run(PROPCTL " get /b"), "propctl: cannot reach the property engine at /tmp/.korv_property_ipc: "
                                      "No such file or directory\n3");
}

TEST_F(propctl, a_command_line_that_is_none_is_refused_before_anybody_is_asked) {
    engine_.shut_down();
    for (const auto* const words :
         {"get", "set", "set /b", "set /b 1 2", "create", "create /b 1 2", "list / /a", "monitor"}) {
        const std::string command = words;
        EXPECT_EQ(run(PROPCTL " " + command), "propctl: wrong number of arguments for " +
                                                  command.substr(0, command.find(' ')) + ", see --help\n2");
    }
    EXPECT_EQ(run(PROPCTL " gte /b"), "propctl: unknown command \"gte\", see --help\n2");
    EXPECT_EQ(run(PROPCTL " --gte get"), "propctl: unknown command \"--gte\", see --help\n2");
    const auto help = run(PROPCTL " --help");
    EXPECT_EQ(run(PROPCTL), help.substr(0, help.size() - 1) + "2");
    EXPECT_EQ(run(PROPCTL " --version"), std::string{zel::version_text()} + "\n0");
    const std::string longest(zel::frame::max_texts - 2, 'v');
    EXPECT_EQ(run(PROPCTL " set /b " + longest).back(), '3') << "there is no engine";
    EXPECT_EQ(run(PROPCTL " set /b v" + longest), "propctl: name and value are too long for a message\n2");
}

TEST_F(propctl, waits_for_a_first_value_and_prints_changes_until_the_engine_goes) {
    engine_.set("/a", "1");
    run(PROPCTL " create /b");
    std::FILE* const output = start(PROPCTL " monitor /b /a");
    const auto says = [output](const std::string& wanted) {
        std::array<char, 100> line{};
        EXPECT_EQ(std::fgets(line.data(), line.size(), output), line.data());
        EXPECT_EQ(line.data(), wanted + "\n");
    };
    says("/a=1");
    engine_.set("/b", "first");
    says("/b=first");
    engine_.set("/a", "2");
    says("/a=2");
    engine_.drop_clients();
    EXPECT_EQ(rest_of(output), "propctl: the property engine has gone\n3");
}

TEST_F(hextool, a_converted_binary_is_a_good_image_filled_up_with_zeros) {
    unit_.write_file("/b.bin", std::string(100, '\x01') + std::string(20, '\xFF'));
    EXPECT_EQ(run(HEXTOOL " convert b.bin i.hex"),
              "b.bin: 120 bytes, filled up with 8072 zeros\n"
              "i.hex: good, 8192 bytes in 512 records, byte sum 0x1450 (5200)\n0");
    EXPECT_EQ(run("sed -n '1p;7,8p;513,$p' i.hex"),
              ":1000000001010101010101010101010101010101E0\r\n:1000600001010101FFFFFFFFFFFFFFFFFFFFFFFF98\r\n"
              ":10007000FFFFFFFFFFFFFFFF000000000000000088\r\n:00000001FF\r\n0");
    unit_.write_file("/b.bin", std::string(8192, '\xFF'));
    EXPECT_EQ(run(HEXTOOL " convert b.bin i.hex"),
              "i.hex: good, 8192 bytes in 512 records, byte sum 0xE000 (57344)\n0");
    EXPECT_EQ(run(HEXTOOL " convert b.bin /dev/full"), "hextool: cannot write /dev/full\n3");
    unit_.write_file("/b.bin", std::string(8193, 'x'));
    EXPECT_EQ(run(HEXTOOL " convert b.bin big.hex"),
              "b.bin: more than the 8192 bytes of the controller's flash\n1");
    unit_.write_file("/b.bin", "");
    EXPECT_EQ(run(HEXTOOL " convert b.bin no/i.hex"), "hextool: cannot open no/i.hex\n3");
    EXPECT_EQ(run(HEXTOOL " convert no.bin i.hex"), "hextool: cannot open no.bin\n3");
    EXPECT_EQ(run(HEXTOOL " check big.hex"), "hextool: cannot open big.hex\n3");
    EXPECT_EQ(run(HEXTOOL " convert . i.hex"), "hextool: cannot read .\n3");
    EXPECT_EQ(run(HEXTOOL " check ."), "hextool: cannot read .\n3");
    const auto help = run(HEXTOOL " --help");
    for (const auto* const words :
         {"", " check", " check i.hex big.hex", " convert b.bin", " conver b.bin i.hex"}) {
        EXPECT_EQ(run(HEXTOOL + std::string{words}), help.substr(0, help.size() - 1) + "2");
    }
    EXPECT_EQ(run(HEXTOOL " --version"), std::string{zel::version_text()} + "\n0");
}

TEST_F(hextool, what_the_controller_does_not_get_is_told) {
    unit_.write_file("/i.hex", sim::intel_hex_text(std::vector<std::uint8_t>(8192 + 18, 1)));
    EXPECT_EQ(run(HEXTOOL " check i.hex"),
              "i.hex: good, 8192 bytes in 512 records, byte sum 0x2000 (8192)\n"
              "i.hex: warning: 18 more bytes follow, which the controller of 8192 bytes does not get\n0");
}

TEST_F(hextool, what_is_wrong_is_told_with_its_line_also_of_a_pipe) {
    const auto firmware = sim::keypad_firmware(1);
    const auto good = sim::intel_hex_text(firmware);
    const auto line = good.find('\n') + 1;
    auto no_digit = good;
    no_digit[line + 9] = 'G';
    auto wrong_sum = good;
    wrong_sum.replace(line - 3, 2, "00xx");  // behind the checksum anything may stand
    const auto first = good.substr(0, line);
    const auto padded = [&](std::size_t length) {
        return first.substr(0, line - 1) + std::string(length - line + 1, ' ');
    };
    const std::pair<std::string, std::string> cases[]{
        {"", "line 1: the file ends after 0 of 8192 bytes"},
        {good.substr(0, 3 * line), "line 4: the file ends after 48 of 8192 bytes"},
        {first + "\n", "line 2: the line is empty"},
        {good.substr(1), "line 1: the line does not begin with a colon"},
        {first + ":000000000\r\n", "line 2: the line is too short for a record: 10 characters"},
        {":0000000001\n", "line 1: the line has checksum 0x01 where its content gives 0x00"},
        {wrong_sum,
         "line 1: the line has checksum 0x00 where its content gives 0x" + good.substr(line - 3, 2)},
        {no_digit, "line 2: the line holds a character that is not hexadecimal, in column 10"},
        {":1G" + good.substr(3), "line 1: the line holds a character that is not hexadecimal, in column 3"},
        {":G1" + good.substr(3), "line 1: the line holds a character that is not hexadecimal, in column 2"},
        {":11" + good.substr(3), "line 1: the line promises 17 bytes and holds fewer"},
        {first + ":00000001FF\n", "line 2: the image ends after 16 of 8192 bytes: end-of-file record"},
        {":020000040800F2\n" + good, "line 1: a record of type 4 where only data may be"},
        {first + good.substr(2 * line), "line 2: a gap: the record is for 0x0020 where 0x0010 has to follow"},
        {first + good,
         "line 2: an overlap or a step back: the record is for 0x0000 where 0x0010 has to follow"},
        {sim::intel_hex_text(firmware, 48), "line 4: the record before this one reaches across the block's "
                                            "end at 0x0080: records have to end there"},
        {good.substr(0, 511 * line) + ":201FF000" + std::string(64, '0') + "D1\n",
         "line 512: a record of 32 bytes at 0x1FF0 reaches past the image's end at 0x2000"},
        {padded(766) + "\n", "line 2: the file ends after 16 of 8192 bytes"},
        {padded(766) + "\r\n", "line 1: the line has 767 characters, more than any record"},
        {first + first + padded(767),
         "line 2: an overlap or a step back: the record is for 0x0000 where 0x0010 has to follow"},
    };
    for (const auto& [image, problem] : cases) {
        unit_.write_file("/i.hex", image);
        EXPECT_EQ(run("cat i.hex | " HEXTOOL " check /dev/stdin"), "/dev/stdin: " + problem + "\n1");
    }
}

}  // namespace
