#include "io/intel_hex.h"
#include "io/keypad_image.h"
#include "sim/keypad_setup.h"
#include "tests/temporary_directory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>

namespace {

using io::ihex_record;
using io::ihex_result_e;

struct closer_t {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using file_t = std::unique_ptr<std::FILE, closer_t>;

file_t stream_of(std::string text) {
    file_t file{std::tmpfile()};
    std::fwrite(text.data(), 1, text.size(), file.get());
    std::rewind(file.get());
    return file;
}

int read_code(const std::string& text, ihex_record& record) {
    return static_cast<int>(io::read_record(&record, stream_of(text).get()));
}

int read_code(const std::string& text) {
    ihex_record record;
    return read_code(text, record);
}

std::string written(const ihex_record& record) {
    const file_t file{std::tmpfile()};
    EXPECT_EQ(io::write_record(record, file.get()), ihex_result_e::success);
    std::rewind(file.get());
    std::string text(2000, '\0');
    text.resize(std::fread(text.data(), 1, text.size(), file.get()));
    return text;
}

/// Runs srec_cat; a machine without it fails the test.
void srec_cat(const std::string& arguments) {
    ASSERT_EQ(std::system(("srec_cat " + arguments).c_str()), 0) << arguments;  // NOLINT(cert-env33-c)
}

TEST(intel_hex, a_line_gives_its_fields_or_the_code_of_what_is_wrong) {
    ihex_record record;
    for (const auto* const line_end : {"", "\n", "\r\n"}) {
        ASSERT_EQ(read_code(std::string{":0300300102337A1E"} + line_end, record), -3);
        ASSERT_EQ(read_code(std::string{":03003A0002337A14"} + line_end, record), 0) << line_end;
    }
    EXPECT_EQ(record.address, 0x3A);
    EXPECT_EQ(record.type, 0);
    EXPECT_EQ(record.data_len, 3);
    EXPECT_EQ(record.data[2], 0x7A);
    EXPECT_EQ(record.checksum, 0x14);

    EXPECT_EQ(read_code(":00000001FF", record), 0);
    EXPECT_EQ(record.type, 1);
    EXPECT_EQ(read_code(":020010000102eb"), 0);
    EXPECT_EQ(read_code(":020010000102EB and more"), 0);  // only a short line is refused

    EXPECT_EQ(read_code(""), -2);
    EXPECT_EQ(read_code("\n:00000001FF"), -5);
    EXPECT_EQ(read_code("\r\n"), -5);
    EXPECT_EQ(read_code(":0000000"), -3);
    EXPECT_EQ(read_code(":00000001F"), -3);
    EXPECT_EQ(read_code("00000001FFFF"), -3);
    EXPECT_EQ(read_code(":030010000102EB"), -3);
    EXPECT_EQ(read_code(":020010000102EA"), -3);
    EXPECT_EQ(read_code(":0200100001g2EB"), -3);
    EXPECT_EQ(static_cast<int>(io::read_record(nullptr, stream_of("x").get())), -4);
    EXPECT_EQ(static_cast<int>(io::read_record(&record, nullptr)), -4);
}

TEST(intel_hex, a_count_with_a_sign_is_no_record) {
    // The number conversion takes a sign: "-F" would send the checksum's position before the line.
    EXPECT_EQ(read_code(":-F0000000000000000"), -3);
    EXPECT_EQ(read_code(":-100000001"), -3);
    EXPECT_EQ(read_code(":0xFFFFFFFFFFF"), -3);
}

TEST(intel_hex, a_line_beyond_the_limit_goes_on_as_the_next_one) {
    const auto file = stream_of(":00000001FF" + std::string(757, ' ') + ":00000001FF\n:00000001FF\n");
    ihex_record record;
    for (const int expected : {0, -3, 0, -2}) {
        EXPECT_EQ(static_cast<int>(io::read_record(&record, file.get())), expected);
    }
    const auto garbage = stream_of(std::string(5000, 'F'));
    for (int i = 0; i < 7; ++i) {
        EXPECT_EQ(static_cast<int>(io::read_record(&record, garbage.get())), -3);
    }
    EXPECT_EQ(static_cast<int>(io::read_record(&record, garbage.get())), -2);
}

TEST(intel_hex, a_stream_that_cannot_be_read_or_written_is_a_file_error) {
    const file_t directory{std::fopen("/tmp", "r")};
    ihex_record record;
    EXPECT_EQ(static_cast<int>(io::read_record(&record, directory.get())), -1);
    const file_t full{std::fopen("/dev/full", "w")};
    std::setbuf(full.get(), nullptr);
    EXPECT_EQ(static_cast<int>(io::write_record(record, full.get())), -1);
}

TEST(intel_hex, records_are_built_and_written_up_to_256_bytes) {
    const std::array<std::uint8_t, 257> bytes{0x01, 0x02};
    ihex_record record;
    EXPECT_EQ(static_cast<int>(io::new_record(0, 0x0010, bytes.data(), 2, &record)), 0);
    EXPECT_EQ(record.checksum, 0xEB);
    EXPECT_EQ(written(record), ":020010000102EB\r\n");

    EXPECT_EQ(static_cast<int>(io::new_record(0, 0, bytes.data(), 257, &record)), -4);
    EXPECT_EQ(static_cast<int>(io::new_record(0, 0, bytes.data(), -1, &record)), -4);
    EXPECT_EQ(static_cast<int>(io::new_record(0, 0, bytes.data(), 1, nullptr)), -4);
    EXPECT_EQ(record.data_len, 2);

    EXPECT_EQ(static_cast<int>(io::new_record(0, 0, bytes.data(), 256, &record)), 0);
    const auto longest = written(record);
    EXPECT_EQ(longest.substr(0, 14), ":1000000000102");
    EXPECT_EQ(longest.substr(longest.size() - 4), "FD\r\n");
    EXPECT_EQ(static_cast<int>(io::write_record(record, nullptr)), -4);
    for (const int length : {257, -1}) {
        record.data_len = length;
        EXPECT_EQ(static_cast<int>(io::write_record(record, stdout)), -3);
    }
}

TEST(intel_hex, a_record_is_shown_field_by_field) {
    ihex_record record;
    ASSERT_EQ(read_code(":0200A0000A0F45", record), 0);
    testing::internal::CaptureStdout();
    io::print_record(record);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Intel HEX8 Record Type: 0\n"
                                                      "Intel HEX8 Record Address: 0x00A0\n"
                                                      "Intel HEX8 Record Data: {0x0A, 0x0F, }\n"
                                                      "Intel HEX8 Record Checksum: 0x45\n");
}

TEST(intel_hex, an_independent_tool_agrees_both_ways) {
    const tests::temporary_directory_t directory;
    const auto path = [&](const char* name) { return directory.path() + '/' + name; };
    const auto firmware = sim::keypad_firmware(7);
    const std::string binary{firmware.begin(), firmware.end()};
    tests::write_file(path("in.bin"), binary);

    srec_cat(path("in.bin") + " -binary -o " + path("tool.hex") + " -intel -address-length=2 -obs=32");
    io::keypad_image_t image{};
    std::uint16_t sum = 0;
    const file_t tool{std::fopen(path("tool.hex").c_str(), "r")};
    ASSERT_TRUE(tool);
    EXPECT_EQ(io::read_keypad_image(tool.get(), image, sum).fault, io::keypad_image_fault_e::none);
    EXPECT_EQ(image, firmware);

    {
        const file_t ours{std::fopen(path("ours.hex").c_str(), "w")};
        ihex_record record;
        for (unsigned at = 0; at < image.size(); at += 64) {
            ASSERT_EQ(io::new_record(0, static_cast<std::uint16_t>(at), &image[at], 64, &record),
                      ihex_result_e::success);
            ASSERT_EQ(io::write_record(record, ours.get()), ihex_result_e::success);
        }
        ASSERT_EQ(io::new_record(1, 0, nullptr, 0, &record), ihex_result_e::success);
        ASSERT_EQ(io::write_record(record, ours.get()), ihex_result_e::success);
    }
    srec_cat(path("ours.hex") + " -intel -o " + path("out.bin") + " -binary");
    EXPECT_EQ(tests::read_file(path("out.bin")), binary);
}

}  // namespace
