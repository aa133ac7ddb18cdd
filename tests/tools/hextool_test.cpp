#include "sim/keypad_setup.h"
#include "tests/temporary_directory.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace {

/// The tool on files of a directory of its own.
class hextool : public testing::Test {
  protected:
    struct outcome_t {
        int status = -1;
        std::string said;
        bool operator==(const outcome_t&) const = default;
    };

    outcome_t run(const std::string& arguments) {
        outcome_t outcome;
        const auto command = "cd " + directory_.path() + " && " HEXTOOL " " + arguments + " 2>&1";
        std::FILE* const pipe = ::popen(command.c_str(), "r");  // NOLINT(cert-env33-c)
        for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) {
            outcome.said += static_cast<char>(c);
        }
        outcome.status = WEXITSTATUS(::pclose(pipe));
        return outcome;
    }
    outcome_t check(const std::string& image) {
        tests::write_file(directory_.path() + "/i.hex", image);
        return run("check i.hex");
    }

    tests::temporary_directory_t directory_;
    std::array<std::uint8_t, 8192> firmware_ = sim::keypad_firmware(1);
    std::string good_ = sim::intel_hex_text(firmware_);
    std::size_t line_ = good_.find('\n') + 1;
};

TEST_F(hextool, a_converted_binary_is_a_good_image_filled_up_with_zeros) {
    tests::write_file(directory_.path() + "/b.bin", std::string(100, '\x01') + std::string(20, '\xFF'));
    EXPECT_EQ(run("convert b.bin i.hex"),
              (outcome_t{0, "b.bin: 120 bytes, filled up with 8072 zeros\n"
                            "i.hex: good, 8192 bytes in 512 records, byte sum 0x1450 (5200)\n"}));
    tests::write_file(directory_.path() + "/b.bin", std::string(8193, 'x'));
    EXPECT_EQ(run("convert b.bin big.hex").status, 1);
    EXPECT_EQ(run("check big.hex"), (outcome_t{3, "hextool: cannot open big.hex\n"}));
    EXPECT_EQ(run("convert nothing i.hex").status, 3);
    EXPECT_EQ(run("convert").status, 2);
}

TEST_F(hextool, what_is_wrong_is_told_with_its_line) {
    EXPECT_EQ(check(good_).status, 0);
    EXPECT_EQ(check(""), (outcome_t{1, "i.hex: line 1: the file ends after 0 of 8192 bytes\n"}));
    EXPECT_EQ(check(good_.substr(0, 3 * line_)),
              (outcome_t{1, "i.hex: line 4: the file ends after 48 of 8192 bytes\n"}));
    EXPECT_EQ(check(good_.substr(0, line_) + good_.substr(2 * line_)),
              (outcome_t{1, "i.hex: line 2: a gap: the record is for 0x0020 where 0x0010 has to follow\n"}));
    EXPECT_EQ(
        check(sim::intel_hex_text(firmware_, 48)),
        (outcome_t{1, "i.hex: line 4: the record before this one reaches across the block's end at 0x0080: "
                      "records have to end there\n"}));
    EXPECT_EQ(
        check(sim::intel_hex_text(std::span{firmware_}.first(4096))),
        (outcome_t{1, "i.hex: line 257: the image ends after 4096 of 8192 bytes: end-of-file record\n"}));
    EXPECT_EQ(check(good_.substr(0, 511 * line_) + ":201FF000" + std::string(64, '0') + "D1\n"),
              (outcome_t{1, "i.hex: line 512: a record of 32 bytes at 0x1FF0 reaches past the image's end at "
                            "0x2000\n"}));
    auto damaged = good_;
    damaged[line_ + 9] = 'G';
    EXPECT_EQ(check(damaged),
              (outcome_t{1, "i.hex: line 2: the line holds a character that is not hexadecimal, "
                            "in column 10\n"}));
    damaged = good_;
    damaged.replace(line_ - 3, 2, "00");
    EXPECT_NE(check(damaged).said.find("line 1: the line has checksum 0x00 where its content gives 0x"),
              std::string::npos);
    EXPECT_EQ(check(std::string(767, 'x')),
              (outcome_t{1, "i.hex: line 1: the line has 767 characters, more than any record\n"}));
}

}  // namespace
