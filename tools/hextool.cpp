#include "io/keypad/intel_hex.h"
#include "io/keypad/keypad_image.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <memory>
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

check    Reads a keypad image the way the daemon does and says what is wrong with it and where:
         Intel HEX data records from address 0 on, without gaps, ending on every 128-byte block's end,
         8192 bytes in all.
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
    case io::ihex_result_e::file_error:
        return "the file cannot be read";
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

/// The lines as they are, a carriage return at the end included.
std::vector<std::string> lines_of(const std::string& path) {
    std::ifstream file{path, std::ios::binary};
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        lines.push_back(line);
    }
    return lines;
}

/// Bytes in the data records before a record: where it would have to begin if blocks did not matter.
std::size_t bytes_before(const std::string& path, std::size_t record_number) {
    const auto file = open_file(path, "r");
    io::ihex_record record;
    std::size_t bytes = 0;
    for (std::size_t i = 1; file && i < record_number; ++i) {
        if (io::read_record(&record, file.get()) != io::ihex_result_e::success) {
            break;
        }
        bytes += static_cast<std::size_t>(record.data_len);
    }
    return bytes;
}

int check(const std::string& path) {
    const auto file = open_file(path, "r");
    if (!file) {
        return file_trouble;
    }
    auto image = std::make_unique<io::keypad_image_t>();
    std::uint16_t sum = 0;
    const auto reading = io::read_keypad_image(file.get(), *image, sum);
    if (reading.fault == io::keypad_image_fault_e::none) {
        std::cout << path << ": good, " << image->size() << " bytes in " << reading.records
                  << " records, byte sum " << hex(sum) << " (" << sum << ")\n";
        return good;
    }
    if (reading.result == io::ihex_result_e::file_error) {
        std::cerr << "hextool: cannot read " << path << '\n';
        return file_trouble;
    }
    // A line is a record, unless it is too long to be read at once.
    const auto lines = lines_of(path);
    const auto number = reading.records;
    const auto overlong = std::find_if(lines.begin(), lines.end(), [](const std::string& line) {
        return line.size() >= io::ihex_line_limit;
    });
    const auto overlong_number = static_cast<std::size_t>(overlong - lines.begin()) + 1;
    if (overlong != lines.end() && overlong_number <= number) {
        std::cout << path << ": line " << overlong_number << ": the line has " << overlong->size()
                  << " characters, more than any record\n";
        return bad_image;
    }
    std::string problem;
    switch (reading.fault) {
    case io::keypad_image_fault_e::not_intel_hex:
        problem = not_hex_problem(reading, number <= lines.size() ? lines[number - 1] : "");
        break;
    case io::keypad_image_fault_e::not_data:
        problem = not_data_problem(reading);
        break;
    default:
        problem = address_problem(reading, bytes_before(path, number));
    }
    std::cout << path << ": line " << number << ": " << problem << '\n';
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

int main(int argc, char** argv) {
    const std::vector<std::string> arguments{argv + 1, argv + argc};
    if (arguments.size() == 1 && (arguments[0] == "--help" || arguments[0] == "-h")) {
        std::cout << usage;
        return good;
    }
    if (arguments.size() == 2 && arguments[0] == "check") {
        return check(arguments[1]);
    }
    if (arguments.size() == 3 && arguments[0] == "convert") {
        return convert(arguments[1], arguments[2]);
    }
    std::cerr << usage;
    return bad_usage;
}
