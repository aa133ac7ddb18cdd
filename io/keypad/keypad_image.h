#pragma once

#include "io/keypad/intel_hex.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace io {

/// The keypad controller's flash: 64 blocks of 128 bytes in one bank.
inline constexpr std::size_t keypad_block_size = 128;
inline constexpr std::size_t keypad_block_count = 64;
inline constexpr std::size_t keypad_image_size = keypad_block_size * keypad_block_count;

using keypad_image_t = std::array<std::uint8_t, keypad_image_size>;

enum class keypad_image_fault_e {
    none,
    not_intel_hex,     ///< `read_record` did not succeed
    not_data,          ///< a record of another type, the end-of-file record of a short image among them
    address_mismatch,  ///< a gap, an overlap, a record across a block's end or beyond the image
};

/// How far the reading of an image came; after a fault, what the fault was about.
struct keypad_image_reading_t {
    keypad_image_fault_e fault = keypad_image_fault_e::none;
    std::size_t records = 0;           ///< records read, the faulty one included
    std::size_t expected_address = 0;  ///< where that last record had to begin
    ihex_result_e result = ihex_result_e::success;
    ihex_record record;  ///< that last record, partly filled when `result` is a failure
};

/// Reads a whole image from Intel HEX records. They must begin at address 0, follow each other without gaps
/// and end exactly on every block's end; reading stops after the last byte of the image, so that what follows
/// in the file is never looked at.
/// @param byte_sum  every byte read is added to it, modulo 65536, up to a fault too. Not cleared first.
[[nodiscard]] keypad_image_reading_t read_keypad_image(std::FILE* stream, keypad_image_t& image,
                                                       std::uint16_t& byte_sum);

}  // namespace io
