#include "io/keypad/intel_hex.h"
#include "io/keypad/keypad_image.h"
#include "sim/board/keypad_setup.h"
#include "tests/golden.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

namespace {

using enum io::ihex_result_e;
using io::ihex_record;
using io::new_record;
using io::read_record;

struct closer_t {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using file_t = std::unique_ptr<std::FILE, closer_t>;

file_t stream_of(const std::string& text) {
    file_t file{std::tmpfile()};
    std::fwrite(text.data(), 1, text.size(), file.get());
    std::rewind(file.get());
    return file;
}

std::string written(ihex_record record) {
    record.checksum ^= 0xFFU;  // which is reckoned anew
    std::string text(2000, '\0');
    file_t file{::fmemopen(text.data(), text.size(), "w")};
    EXPECT_EQ(io::write_record(record, file.get()), success);
    file.reset();
    return text.substr(0, text.find('\0'));
}

TEST(intel_hex, a_line_gives_its_fields_or_the_code_of_what_is_wrong) {
    // A number conversion takes a sign: "-F" would look for the checksum before the line. Behind a whole
    // record there may be anything.
    const std::pair<io::ihex_result_e, std::vector<std::string>> cases[] = {
        {success, {":03003A0002337A14", ":03003A0002337A14\n", ":03003A0002337A14\r\n", ":020010000102ebxx"}},
        {end_of_file, {""}},
        {invalid_record, {":0000000", ":00000001F", "00000001FFFF", ":030010000102EB", ":020010000102EA"}},
        {invalid_record, {":0200100001g2EB", ":-F0000000000000000", ":-100000001", ":0xFFFFFFFFFFF"}},
        {empty_line, {"\n:00000001FF", "\r\n"}}};
    ihex_record record;
    for (const auto& [code, lines] : cases) {
        for (const auto& line : lines) {
            EXPECT_EQ(read_record(&record, stream_of(line).get()), code) << line;
        }
    }
}

TEST(intel_hex, what_goes_beyond_the_longest_line_is_the_next_one) {
    const std::string first = ":03003A0002337A14";
    const auto file = stream_of(first + std::string(io::ihex_line_limit - first.size(), '.') + ":00000001FF");
    ihex_record record;
    EXPECT_EQ(read_record(&record, file.get()), success);
    EXPECT_EQ(std::ftell(file.get()), 767);
    EXPECT_EQ(read_record(&record, file.get()), success);
    EXPECT_EQ(record.type, 1);
}

TEST(intel_hex, records_of_every_length_are_made_written_and_printed_as_approved) {
    std::array<std::uint8_t, 300> bytes{};
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{0xA0});
    std::string report;
    const auto tell = [&report](const char* what, io::ihex_result_e result) {
        report += std::string{what} + ' ' + std::to_string(static_cast<int>(result)) + '\n';
    };
    for (const int length : {-1, 0, 2, 255, 256, 257}) {
        ihex_record record;
        report += "== " + std::to_string(length) + '\n';
        tell("made", new_record(0, 0xC0DE, bytes.data(), length, &record));
        record.data_len = length;  // where it was refused, too
        char line[1000] = {};
        file_t file{::fmemopen(line, sizeof line, "w")};
        tell("written", io::write_record(record, file.get()));
        file.reset();
        testing::internal::CaptureStdout();
        print_record(record);
        report += line + testing::internal::GetCapturedStdout();
    }
    ihex_record record;
    const file_t full{std::fopen("/dev/full", "w")};
    std::setbuf(full.get(), nullptr);
    tell("no record", new_record(0, 0, bytes.data(), 1, nullptr));
    tell("no data", new_record(0, 0, nullptr, 1, &record));
    tell("no stream", io::write_record(record, nullptr));
    tell("a full device", io::write_record(record, full.get()));
    tell("read into nothing", read_record(nullptr, full.get()));
    tell("read from nothing", read_record(&record, nullptr));
    tell("read where nothing can be", read_record(&record, full.get()));
    EXPECT_EQ(report, tests::golden_text("intel_hex.txt", report));
}

TEST(intel_hex, an_independent_tool_agrees_both_ways) {
    const sim::unit_root_t unit{*sim::find_unit("container")};
    const auto srec_cat = [](const std::string& arguments) {
        return std::system(("srec_cat " + arguments).c_str());  // NOLINT(cert-env33-c)
    };
    const auto firmware = sim::keypad_firmware(7);
    const std::string binary{firmware.begin(), firmware.end()};
    unit.write_file("/in.bin", binary);
    ASSERT_EQ(srec_cat(unit.file("/in.bin") + " -binary -o " + unit.file("/tool.hex") +
                       " -intel -address-length=2 -obs=32"),
              0);
    io::keypad_image_t image{};
    std::uint16_t sum = 0;
    const auto tool = stream_of(unit.read_file("/tool.hex"));
    EXPECT_EQ(io::read_keypad_image(tool.get(), image, sum).fault, io::keypad_image_fault_e::none);
    EXPECT_EQ(image, firmware);

    std::string ours;
    ihex_record record;
    for (unsigned at = 0; at < image.size(); at += 64) {
        ASSERT_EQ(new_record(0, static_cast<std::uint16_t>(at), &image[at], 64, &record), success);
        ours += written(record);
    }
    ASSERT_EQ(new_record(1, 0, nullptr, 0, &record), success);
    unit.write_file("/ours.hex", ours + written(record));
    ASSERT_EQ(srec_cat(unit.file("/ours.hex") + " -intel -o " + unit.file("/out.bin") + " -binary"), 0);
    EXPECT_EQ(unit.read_file("/out.bin"), binary);
}

}  // namespace
