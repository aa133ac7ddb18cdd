#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>

/// Records of the Intel HEX format with 8-bit data, one text line each:
///
///     :020010000102EB
///      ^^ count, ^^^^ address, ^^ type, data bytes, checksum; all hexadecimal
///
/// A codec without state on C stdio streams. What a record means (data, end of file, extended address) is for
/// the caller to say. Blocks as long as the stream does.
namespace io {

enum class ihex_result_e : int {
    success = 0,
    file_error = -1,  ///< a read or write on the stream failed
    end_of_file = -2,
    invalid_record = -3,
    invalid_arguments = -4,
    empty_line = -5,
};

struct ihex_record {
    static constexpr std::size_t max_data = 256;

    std::uint16_t address = 0;  ///< load offset
    std::array<std::uint8_t, max_data> data{};
    std::int32_t data_len = 0;  ///< valid bytes in `data`, 0..256
    std::int32_t type = 0;      ///< 0 data, 1 end of file, ...; as read, not validated
    std::uint8_t checksum = 0;  ///< as read from the line, or as computed by `new_record`
};

/// Longest line that is taken in one read; what is beyond is the next line.
inline constexpr std::size_t ihex_line_limit = 767;

/// Two's complement of the sum of count, address bytes, type and data bytes, modulo 256. Independent of the
/// record's own `checksum`.
[[nodiscard]] std::uint8_t checksum(const ihex_record& record);

/// Fills a record, its checksum included.
/// @return invalid_arguments, with nothing written, without a record or for a length outside 0..256.
[[nodiscard]] ihex_result_e new_record(std::int32_t type, std::uint16_t address, const std::uint8_t* data,
                                       std::int32_t data_len, ihex_record* record);

/// Reads and parses the stream's next line, ended by CR LF, LF or the end of the stream. A character that is
/// not hexadecimal ends its number; only the checksum tells that damage. On failure the fields parsed so far
/// keep their new values.
[[nodiscard]] ihex_result_e read_record(ihex_record* record, std::FILE* stream);

/// Writes one line ended by CR LF, with a computed checksum. 256 bytes are written with the three-digit count
/// "100", which no reader takes back.
/// @return invalid_arguments without a stream and invalid_record for a length outside 0..256, with nothing
///         written; file_error when the stream refuses, with part of the line written perhaps. What a
///         buffered stream cannot get rid of may show only in fflush or fclose.
[[nodiscard]] ihex_result_e write_record(const ihex_record& record, std::FILE* stream);

/// Shows a record on C's standard output, for debugging: its data bytes as many as it has, none when its
/// length is out of range. Waits for whoever takes the output, so it has no place in a service pass.
void print_record(const ihex_record& record);

}  // namespace io
