#include "io/keypad/intel_hex.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

namespace io {

namespace {

constexpr std::size_t header_length = 9;     // colon, count, address, type
constexpr std::size_t shortest_length = 11;  // header and checksum

bool valid_length(std::int32_t data_len) {
    return data_len >= 0 && data_len <= static_cast<std::int32_t>(ihex_record::max_data);
}

/// The hexadecimal number in a few characters of a line; ends at the first that is none.
long hex_number(std::string_view digits) {
    std::array<char, 8> text{};
    digits.copy(text.data(), text.size() - 1);
    return std::strtol(text.data(), nullptr, 16);
}

}  // namespace

std::uint8_t checksum(const ihex_record& record) {
    auto sum = static_cast<std::uint32_t>(record.data_len) + static_cast<std::uint32_t>(record.type) +
               record.address + (record.address >> 8);
    const auto length = valid_length(record.data_len) ? static_cast<std::size_t>(record.data_len) : 0;
    for (std::size_t i = 0; i < length; ++i) {
        sum += record.data[i];
    }
    return static_cast<std::uint8_t>(0u - sum);
}

ihex_result_e new_record(std::int32_t type, std::uint16_t address, const std::uint8_t* data,
                         std::int32_t data_len, ihex_record* record) {
    if (record == nullptr || !valid_length(data_len) || (data == nullptr && data_len > 0)) {
        return ihex_result_e::invalid_arguments;
    }
    record->type = type;
    record->address = address;
    std::copy_n(data, data_len, record->data.begin());
    record->data_len = data_len;
    record->checksum = checksum(*record);
    return ihex_result_e::success;
}

ihex_result_e read_record(ihex_record* record, std::FILE* stream) {
    if (record == nullptr || stream == nullptr) {
        return ihex_result_e::invalid_arguments;
    }
    std::array<char, ihex_line_limit + 1> buffer{};
    if (std::fgets(buffer.data(), static_cast<int>(buffer.size()), stream) == nullptr) {
        return std::feof(stream) != 0 ? ihex_result_e::end_of_file : ihex_result_e::file_error;
    }
    std::string_view line{buffer.data()};
    line = line.substr(0, line.find_first_of("\r\n"));
    if (line.empty()) {
        return ihex_result_e::empty_line;
    }
    if (line.size() < header_length || line.front() != ':') {
        return ihex_result_e::invalid_record;
    }
    const auto count = hex_number(line.substr(1, 2));
    record->address = static_cast<std::uint16_t>(hex_number(line.substr(3, 4)));
    record->type = static_cast<std::int32_t>(hex_number(line.substr(7, 2)));
    // The number conversion takes a sign, so that a damaged count may be negative.
    if (count < 0 || line.size() < 2 * static_cast<std::size_t>(count) + shortest_length) {
        return ihex_result_e::invalid_record;
    }
    const auto length = static_cast<std::size_t>(count);
    for (std::size_t i = 0; i < length; ++i) {
        record->data[i] = static_cast<std::uint8_t>(hex_number(line.substr(header_length + 2 * i, 2)));
    }
    record->data_len = static_cast<std::int32_t>(length);
    record->checksum = static_cast<std::uint8_t>(hex_number(line.substr(header_length + 2 * length, 2)));
    return record->checksum == checksum(*record) ? ihex_result_e::success : ihex_result_e::invalid_record;
}

ihex_result_e write_record(const ihex_record& record, std::FILE* stream) {
    if (stream == nullptr) {
        return ihex_result_e::invalid_arguments;
    }
    if (!valid_length(record.data_len)) {
        return ihex_result_e::invalid_record;
    }
    if (std::fprintf(stream, "%c%2.2X%2.4X%2.2X", ':', static_cast<unsigned>(record.data_len),
                     unsigned{record.address}, static_cast<unsigned>(record.type)) < 0) {
        return ihex_result_e::file_error;
    }
    for (std::size_t i = 0; i < static_cast<std::size_t>(record.data_len); ++i) {
        if (std::fprintf(stream, "%2.2X", unsigned{record.data[i]}) < 0) {
            return ihex_result_e::file_error;
        }
    }
    if (std::fprintf(stream, "%2.2X\r\n", unsigned{checksum(record)}) < 0) {
        return ihex_result_e::file_error;
    }
    return ihex_result_e::success;
}

void print_record(const ihex_record& record) {
    std::printf("Intel HEX8 Record Type: %d\n", record.type);
    std::printf("Intel HEX8 Record Address: 0x%2.4X\n", unsigned{record.address});
    std::printf("Intel HEX8 Record Data: {");
    const auto length = valid_length(record.data_len) ? static_cast<std::size_t>(record.data_len) : 0;
    for (std::size_t i = 0; i < length; ++i) {
        std::printf("0x%02X, ", unsigned{record.data[i]});
    }
    std::printf("}\n");
    std::printf("Intel HEX8 Record Checksum: 0x%2.2X\n", unsigned{record.checksum});
}

}  // namespace io
