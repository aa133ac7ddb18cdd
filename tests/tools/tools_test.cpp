#include "platform/version.h"
#include "sim/board/keypad_setup.h"
#include "sim/peers/engine.h"
#include "sim/unit/unit.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <string>
#include <thread>
#include <vector>

namespace {

/// A unit's files and property engine, with the tools run on it in its root.
class tools_test : public testing::Test {
  protected:
    tools_test() { EXPECT_TRUE(engine_.start()); }

    // What a command prints on both its outputs, and behind it its exit status.
    std::string run(const std::string& command) {
        const auto line =
            "cd " + unit_.path() + " && FWSTATUS_UNIT_ROOT=$PWD timeout 10 " + command + " 2>&1";
        std::FILE* const output = ::popen(line.c_str(), "r");  // NOLINT(cert-env33-c)
        std::string text;
        for (int character = 0; (character = std::fgetc(output)) != EOF;) {
            text += static_cast<char>(character);
        }
        return text + std::to_string(WEXITSTATUS(::pclose(output)));
    }

    sim::unit_root_t unit_{*sim::find_unit("container")};
    sim::engine_t engine_;
};

using propctl = tools_test;
using hextool = tools_test;

TEST_F(propctl, reads_sets_creates_and_lists) {
    engine_.set("/a/one", "1");
    engine_.set("/a/two", "two words");
    EXPECT_EQ(run(PROPCTL " get /a/two /a/one"), "two words\n1\n0");
    EXPECT_EQ(run(PROPCTL " set /b 1"), "propctl: no such property: /b\n1");
    EXPECT_EQ(run(PROPCTL " create /b '-5 %'"), "0");
    EXPECT_EQ(run(PROPCTL " create /c"), "0") << "it is known, and has no value";
    EXPECT_EQ(run(PROPCTL " set /c --help"), "0");
    EXPECT_EQ(run(PROPCTL " list"), "/a/one=1\n/a/two=two words\n/b=-5 %\n/c=--help\n0");
    EXPECT_EQ(run(PROPCTL " list /a/t"), "/a/two=two words\n0");
    EXPECT_EQ(run(PROPCTL " list /d"), "propctl: no such property: /d...\n1");
    EXPECT_EQ(run(PROPCTL " monitor /a/one /d"), "propctl: no such property: /d\n1");
    EXPECT_EQ(run(PROPCTL " get"), "propctl: wrong number of arguments for get, see --help\n2");
    EXPECT_EQ(run(PROPCTL " gte /b"), "propctl: unknown command \"gte\", see --help\n2");
    EXPECT_EQ(run(PROPCTL " --version"), std::string{zel::version_text()} + "\n0");
    engine_.stay_silent(true);
    for (const auto* const command : {" get /b", " create /b", " list", " monitor /b"}) {
        EXPECT_EQ(run(PROPCTL + std::string{command}), "propctl: the property engine does not answer\n3");
    }
    engine_.shut_down();
    EXPECT_EQ(run(PROPCTL " get /b"), "propctl: cannot reach the property engine at /tmp/.korv_property_ipc: "
                                      "No such file or directory\n3");
}

TEST_F(propctl, waits_for_a_first_value_and_prints_changes_until_the_engine_goes) {
    engine_.set("/a", "1");
    run(PROPCTL " create /b");
    const auto before = engine_.requests().size();
    const std::jthread changes{[this, before] {
        EXPECT_TRUE(sim::wait_until([&] { return engine_.requests().size() == before + 6; }));
        engine_.set("/b", "first");
        engine_.set("/a", "2");
        // The hang-up would take away what has not been read yet.
        std::this_thread::sleep_for(std::chrono::milliseconds{300});
        engine_.drop_clients();
    }};
    EXPECT_EQ(run(PROPCTL " monitor /b /a"),
              "/a=1\n/b=first\n/a=2\npropctl: the property engine has gone\n3");
}

TEST_F(hextool, a_converted_binary_is_a_good_image_filled_up_with_zeros) {
    unit_.write_file("/b.bin", std::string(100, '\x01') + std::string(20, '\xFF'));
    EXPECT_EQ(run(HEXTOOL " convert b.bin i.hex"),
              "b.bin: 120 bytes, filled up with 8072 zeros\n"
              "i.hex: good, 8192 bytes in 512 records, byte sum 0x1450 (5200)\n0");
    unit_.write_file("/b.bin", std::string(8192, '\xFF'));
    EXPECT_EQ(run(HEXTOOL " convert b.bin i.hex"),
              "i.hex: good, 8192 bytes in 512 records, byte sum 0xE000 (57344)\n0");
    EXPECT_EQ(run(HEXTOOL " convert b.bin /dev/full"), "hextool: cannot write /dev/full\n3");
    unit_.write_file("/b.bin", std::string(8193, 'x'));
    EXPECT_EQ(run(HEXTOOL " convert b.bin big.hex").back(), '1');
    EXPECT_EQ(run(HEXTOOL " check big.hex"), "hextool: cannot open big.hex\n3");
    EXPECT_EQ(run(HEXTOOL " convert . i.hex"), "hextool: cannot read .\n3");
    EXPECT_EQ(run(HEXTOOL " check ."), "hextool: cannot read .\n3");
    EXPECT_EQ(run(HEXTOOL " check i.hex big.hex").back(), '2');
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
    const std::pair<std::string, std::string> cases[]{
        {good.substr(0, 3 * line), "line 4: the file ends after 48 of 8192 bytes"},
        {good.substr(0, line) + good.substr(2 * line),
         "line 2: a gap: the record is for 0x0020 where 0x0010 has to follow"},
        {sim::intel_hex_text(firmware, 48), "line 4: the record before this one reaches across the block"},
        {no_digit, "line 2: the line holds a character that is not hexadecimal, in column 10"},
        {wrong_sum, "line 1: the line has checksum 0x00 where its content gives 0x"},
        {good.substr(0, line - 1) + std::string(766 - line + 1, ' ') + "\r\n",
         "line 1: the line has 767 characters"},
    };
    for (const auto& [image, problem] : cases) {
        unit_.write_file("/i.hex", image);
        const auto verdict = run("cat i.hex | " HEXTOOL " check /dev/stdin");
        EXPECT_EQ(verdict.find("/dev/stdin: " + problem), 0u) << verdict;
        EXPECT_EQ(verdict.back(), '1');
    }
}

}  // namespace
