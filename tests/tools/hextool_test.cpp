#include "sim/keypad_setup.h"
#include "tests/outcome_of.h"
#include "tests/temporary_directory.h"

#include <gtest/gtest.h>

#include <string>

namespace {

/// The tool on files of a directory of its own.
class hextool : public testing::Test {
  protected:
    std::string run(const std::string& arguments) {
        return tests::outcome_of("cd " + directory.path() + " && " HEXTOOL " " + arguments);
    }
    std::string check(const std::string& image) {
        tests::write_file(directory.path() + "/i.hex", image);
        return run("check i.hex");
    }

    tests::temporary_directory_t directory;
};

TEST_F(hextool, a_converted_binary_is_a_good_image_filled_up_with_zeros) {
    tests::write_file(directory.path() + "/b.bin", std::string(100, '\x01') + std::string(20, '\xFF'));
    EXPECT_EQ(run("convert b.bin i.hex"), "b.bin: 120 bytes, filled up with 8072 zeros\n"
                                          "i.hex: good, 8192 bytes in 512 records, byte sum 0x1450 (5200)\n"
                                          "0");
    tests::write_file(directory.path() + "/b.bin", std::string(8193, 'x'));
    EXPECT_EQ(run("convert b.bin big.hex").back(), '1');
    EXPECT_EQ(run("check big.hex"), "hextool: cannot open big.hex\n3");
    EXPECT_EQ(run("convert").back(), '2');
}

TEST_F(hextool, what_is_wrong_is_told_with_its_line) {
    const auto firmware = sim::keypad_firmware(1);
    const auto good = sim::intel_hex_text(firmware);
    const auto line = good.find('\n') + 1;
    EXPECT_EQ(check(good).back(), '0');
    auto no_digit = good;
    no_digit[line + 9] = 'G';
    auto wrong_sum = good;
    wrong_sum.replace(line - 3, 2, "00");
    const std::pair<std::string, std::string> cases[]{
        {"", "line 1: the file ends after 0 of 8192 bytes"},
        {good.substr(0, 3 * line), "line 4: the file ends after 48 of 8192 bytes"},
        {good.substr(0, line) + good.substr(2 * line),
         "line 2: a gap: the record is for 0x0020 where 0x0010 has to follow"},
        {sim::intel_hex_text(firmware, 48),
         "line 4: the record before this one reaches across the block's end at 0x0080"},
        {sim::intel_hex_text(std::span{firmware}.first(4096)), "line 257: the image ends after 4096 of 8192"},
        {good.substr(0, 511 * line) + ":201FF000" + std::string(64, '0') + "D1\n",
         "line 512: a record of 32 bytes at 0x1FF0 reaches past the image's end at 0x2000"},
        {no_digit, "line 2: the line holds a character that is not hexadecimal, in column 10"},
        {wrong_sum, "line 1: the line has checksum 0x00 where its content gives 0x"},
        {std::string(767, 'x'), "line 1: the line has 767 characters, more than any record"}};
    for (const auto& [image, problem] : cases) {
        const auto verdict = check(image);
        EXPECT_EQ(verdict.find("i.hex: " + problem), 0u) << verdict;
        EXPECT_EQ(verdict.back(), '1');
    }
}

}  // namespace
