#include "io/keypad/keypad_image.h"

#include <algorithm>
#include <numeric>

namespace io {

keypad_image_reading_t read_keypad_image(std::FILE* stream, keypad_image_t& image, std::uint16_t& byte_sum) {
    constexpr std::int32_t data_record = 0;
    keypad_image_reading_t reading;
    const auto failed = [&reading](keypad_image_fault_e fault) {
        reading.fault = fault;
        return reading;
    };
    for (std::size_t block = 0; block < image.size(); block += keypad_block_size) {
        std::size_t read_in_block = 0;
        while (read_in_block < keypad_block_size) {
            auto& record = reading.record;
            ++reading.records;
            reading.expected_address = block + read_in_block;
            reading.result = read_record(&record, stream);
            if (reading.result != ihex_result_e::success) {
                return failed(keypad_image_fault_e::not_intel_hex);
            }
            if (record.type != data_record) {
                return failed(keypad_image_fault_e::not_data);
            }
            const auto length = static_cast<std::size_t>(record.data_len);
            if (record.address != reading.expected_address || record.address + length > image.size()) {
                return failed(keypad_image_fault_e::address_mismatch);
            }
            const auto data = record.data.begin();
            std::copy_n(data, length, image.begin() + record.address);
            byte_sum = std::accumulate(data, data + record.data_len, byte_sum, [](auto sum, auto byte) {
                return static_cast<std::uint16_t>(sum + byte);
            });
            read_in_block += length;
        }
    }
    return reading;
}

}  // namespace io
