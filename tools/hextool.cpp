#include "io/keypad/intel_hex.h"
#include "io/keypad/keypad_image.h"
#include "platform/version.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <exception>
#include <iomanip>
#include <iostream>
#include <limits>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

// Checks keypad images with the very reader that the daemon programs the keypad controller from, and makes
// them.

namespace {

constexpr int good = 0;
constexpr int bad_image = 1;
constexpr int bad_usage = 2;
constexpr int file_trouble = 3;

constexpr std::string_view usage = R"(Usage: hextool check IMAGE
       hextool convert BINARY IMAGE
       hextool --version

check    Reads a keypad image the way the daemon does and says what is wrong with it and where:
         Intel HEX data records from address 0 on, without gaps, ending on every 128-byte block's end,
         8192 bytes in all. Warns of bytes behind these, which the controller does not get.
convert  Makes an image of a raw binary of up to 8192 bytes; a shorter one is filled up with zeros, as
         erased flash reads.

Exit status: 0 good, 1 the image or binary is bad, 2 wrong usage, 3 a file cannot be read or written.
)";

using file_t = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

file_t open_file(const std::string& path, const char* mode) {
    file_t file{std::fopen(path.c_str(), mode), &std::fclose};
    if (!file) {
        std::cerr << "hextool: cannot open " << path << '\n';
    }
    return file;
}

std::string hex(std::size_t value, int digits = 4) {
    std::ostringstream text;
    text << "0x" << std::uppercase << std::hex << std::setw(digits) << std::setfill('0') << value;
    return text.str();
}

/// What is wrong with a line that is no record.
std::string line_problem(const std::string& line, const io::ihex_record& record) {
    constexpr std::size_t shortest = 11;
    if (line.front() != ':') {
        return "does not begin with a colon";
    }
    if (line.size() < shortest) {
        return "is too short for a record: " + std::to_string(line.size()) + " characters";
    }
    const auto is_digit = [](char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; };
    const bool promises = is_digit(line[1]) && is_digit(line[2]);
    const auto promised = promises ? std::stoul(line.substr(1, 2), nullptr, 16) : line.size();
    const auto record_length = shortest + 2 * promised;  // behind it there may be anything
    const auto digits = std::string_view{line}.substr(1, record_length - 1);
    const auto* const strange = std::find_if_not(digits.begin(), digits.end(), is_digit);
    if (strange != digits.end()) {
        return "holds a character that is not hexadecimal, in column " +
               std::to_string(strange - digits.begin() + 2);
    }
    if (line.size() < record_length) {
        return "promises " + std::to_string(promised) + " bytes and holds fewer";
    }
    return "has checksum " + hex(record.checksum, 2) + " where its content gives " +
           hex(io::checksum(record), 2);
}

std::string not_hex_problem(const io::keypad_image_reading_t& reading, const std::string& line) {
    switch (reading.result) {
    case io::ihex_result_e::end_of_file:
        return "the file ends after " + std::to_string(reading.expected_address) + " of " +
               std::to_string(io::keypad_image_size) + " bytes";
    case io::ihex_result_e::empty_line:
        return "the line is empty";
    default:
        return "the line " + line_problem(line.substr(0, line.find('\r')), reading.record);
    }
}

std::string not_data_problem(const io::keypad_image_reading_t& reading) {
    constexpr int end_of_file = 1;
    const auto& record = reading.record;
    if (record.type == end_of_file) {
        return "the image ends after " + std::to_string(reading.expected_address) + " of " +
               std::to_string(io::keypad_image_size) + " bytes: end-of-file record";
    }
    return "a record of type " + std::to_string(record.type) + " where only data may be";
}

std::string address_problem(const io::keypad_image_reading_t& reading, std::size_t bytes_so_far) {
    const auto& record = reading.record;
    const std::size_t expected = reading.expected_address;
    const auto length = static_cast<std::size_t>(record.data_len);
    if (record.address == expected) {
        return "a record of " + std::to_string(length) + " bytes at " + hex(record.address) +
               " reaches past the image's end at " + hex(io::keypad_image_size);
    }
    if (record.address == bytes_so_far) {
        return "the record before this one reaches across the block's end at " + hex(expected) +
               ": records have to end there";
    }
    return std::string{record.address > expected ? "a gap" : "an overlap or a step back"} +
           ": the record is for " + hex(record.address) + " where " + hex(expected) + " has to follow";
}

/// What a file holds, read once: it may be a pipe.
std::optional<std::string> content_of(const std::string& path) {
    const auto file = open_file(path, "rb");
    if (!file) {
        return std::nullopt;
    }
    std::string content;
    std::array<char, 4096> chunk;  // NOLINT(*-member-init): fread fills it
    while (const auto count = std::fread(chunk.data(), 1, chunk.size(), file.get())) {
        content.append(chunk.data(), count);
    }
    if (std::ferror(file.get()) != 0) {
        std::cerr << "hextool: cannot read " << path << '\n';
        return std::nullopt;
    }
    return content;
}

file_t open_content(std::string& content) {
    return {::fmemopen(content.data(), content.size(), "r"), &std::fclose};
}

/// The lines as they are, a carriage return at the end included.
std::vector<std::string> lines_of(const std::string& content) {
    std::istringstream text{content};
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) {
        lines.push_back(line);
    }
    return lines;
}

/// Bytes in the data records from here on, up to a number of records or the first line that is none.
std::size_t data_bytes(std::FILE* file, std::size_t records) {
    constexpr int data = 0;
    io::ihex_record record;
    std::size_t bytes = 0;
    for (; records > 0 && io::read_record(&record, file) == io::ihex_result_e::success; --records) {
        bytes += record.type == data ? static_cast<std::size_t>(record.data_len) : 0;
    }
    return bytes;
}

int tell_good(const std::string& path, const io::keypad_image_reading_t& reading, std::uint16_t sum,
              std::size_t bytes_behind) {
    std::cout << path << ": good, " << io::keypad_image_size << " bytes in " << reading.records
              << " records, byte sum " << hex(sum) << " (" << sum << ")\n";
    if (bytes_behind != 0) {
        std::cout << path << ": warning: " << bytes_behind << " more bytes follow, which the controller of "
                  << io::keypad_image_size << " bytes does not get\n";
    }
    return good;
}

/// What is wrong, with its line. A line is a record, unless it is too long to be read at once.
std::string problem_of(std::string& content, const io::keypad_image_reading_t& reading) {
    const auto lines = lines_of(content);
    const auto number = reading.records;
    const auto overlong = std::find_if(lines.begin(), lines.end(), [](const std::string& line) {
        return line.size() >= io::ihex_line_limit;
    });
    const auto overlong_number = static_cast<std::size_t>(overlong - lines.begin()) + 1;
    if (overlong != lines.end() && overlong_number <= number) {
        return "line " + std::to_string(overlong_number) + ": the line has " +
               std::to_string(overlong->size()) + " characters, more than any record";
    }
    const auto line = "line " + std::to_string(number) + ": ";
    switch (reading.fault) {
    case io::keypad_image_fault_e::not_intel_hex:
        return line + not_hex_problem(reading, number <= lines.size() ? lines[number - 1] : "");
    case io::keypad_image_fault_e::not_data:
        return line + not_data_problem(reading);
    default:
        // Where the record would have to begin if blocks did not matter.
        return line + address_problem(reading, data_bytes(open_content(content).get(), number - 1));
    }
}

int check(const std::string& path) {
    auto content = content_of(path);
    if (!content) {
        return file_trouble;
    }
    const auto file = open_content(*content);
    auto image = std::make_unique<io::keypad_image_t>();
    std::uint16_t sum = 0;
    const auto reading = io::read_keypad_image(file.get(), *image, sum);
    if (reading.fault == io::keypad_image_fault_e::none) {
        constexpr auto all = std::numeric_limits<std::size_t>::max();
        return tell_good(path, reading, sum, data_bytes(file.get(), all));
    }
    std::cout << path << ": " << problem_of(*content, reading) << '\n';
    return bad_image;
}

bool write_image(std::FILE* file, const std::vector<std::uint8_t>& bytes) {
    constexpr std::size_t record_length = 16;
    constexpr int data = 0;
    constexpr int end_of_file = 1;
    io::ihex_record record;
    const auto put = [&](int type, std::size_t address, const std::uint8_t* begin, int length) {
        return io::new_record(type, static_cast<std::uint16_t>(address), begin, length, &record) ==
                   io::ihex_result_e::success &&
               io::write_record(record, file) == io::ihex_result_e::success;
    };
    for (std::size_t at = 0; at < bytes.size(); at += record_length) {
        if (!put(data, at, &bytes[at], record_length)) {
            return false;
        }
    }
    return put(end_of_file, 0, nullptr, 0) && std::fflush(file) == 0;
}

int convert(const std::string& binary, const std::string& image) {
    const auto input = open_file(binary, "rb");
    if (!input) {
        return file_trouble;
    }
    std::vector<std::uint8_t> bytes(io::keypad_image_size + 1);
    const auto size = std::fread(bytes.data(), 1, bytes.size(), input.get());
    if (std::ferror(input.get()) != 0) {
        std::cerr << "hextool: cannot read " << binary << '\n';
        return file_trouble;
    }
    if (size > io::keypad_image_size) {
        std::cout << binary << ": more than the " << io::keypad_image_size
                  << " bytes of the controller's flash\n";
        return bad_image;
    }
    bytes.resize(io::keypad_image_size);
    const auto output = open_file(image, "w");
    if (!output) {
        return file_trouble;
    }
    if (!write_image(output.get(), bytes)) {
        std::cerr << "hextool: cannot write " << image << '\n';
        return file_trouble;
    }
    if (size < bytes.size()) {
        std::cout << binary << ": " << size << " bytes, filled up with " << bytes.size() - size << " zeros\n";
    }
    return check(image);
}

}  // namespace

static int run(int argc, char** argv) {
    CLI::App app{"", "hextool"};
    app.formatter_fn(
        [](const CLI::App*, const std::string&, CLI::AppFormatMode) { return std::string{usage}; });
    app.set_version_flag("--version", std::string{zel::version_text()});
    app.require_subcommand(1);
    std::string binary;
    std::string image;
    auto& checking = *app.add_subcommand("check");
    checking.add_option("IMAGE", image)->required();
    auto& converting = *app.add_subcommand("convert");
    converting.add_option("BINARY", binary)->required();
    converting.add_option("IMAGE", image)->required();
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& asked) {
        return app.exit(asked);
    } catch (const CLI::ParseError&) {
        std::cerr << usage;
        return bad_usage;
    }
    return checking.parsed() ? check(image) : convert(binary, image);
}

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "hextool: %s\n", error.what());
        return 1;
    }
}
