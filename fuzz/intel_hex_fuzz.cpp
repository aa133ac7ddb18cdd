// Intel HEX files: single records, and the keypad controller's whole image.
//
// Input: the file.

#include "fuzz/harness.h"
#include "io/keypad/intel_hex.h"
#include "io/keypad/keypad_image.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <numeric>
#include <vector>

namespace {

using stream_t = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

stream_t stream_on(const std::vector<char>& content) {
    // The library opens no empty memory; nothing is read from the one byte behind.
    auto* const memory = const_cast<char*>(content.data());  // NOLINT(*-const-cast): opened for reading
    return {::fmemopen(memory, content.size(), "r"), &std::fclose};
}

void check_round_trip(const io::ihex_record& record) {
    std::vector<char> line(io::ihex_line_limit + 1);
    const stream_t stream{::fmemopen(line.data(), line.size(), "w+"), &std::fclose};
    fuzz::require(io::write_record(record, stream.get()) == io::ihex_result_e::success,
                  "a record that was read can be written");
    std::rewind(stream.get());
    io::ihex_record again;
    fuzz::require(io::read_record(&again, stream.get()) == io::ihex_result_e::success &&
                      again.type == record.type && again.address == record.address &&
                      again.data_len == record.data_len &&
                      std::memcmp(again.data.data(), record.data.data(),
                                  static_cast<std::size_t>(record.data_len)) == 0,
                  "a record that was written is read back");
}

void read_records(const std::vector<char>& content) {
    const auto stream = stream_on(content);
    for (std::size_t lines = 0; lines <= content.size(); ++lines) {
        io::ihex_record record;
        const auto result = io::read_record(&record, stream.get());
        if (result == io::ihex_result_e::end_of_file) {
            return;
        }
        fuzz::require(record.data_len >= 0 && record.data_len <= 255, "a count has two digits");
        // A damaged type may be negative, which is not what a type is written for.
        if (result == io::ihex_result_e::success && record.type >= 0) {
            check_round_trip(record);
        }
    }
    fuzz::require(false, "a file has no more lines than bytes");
}

void read_image(const std::vector<char>& content) {
    constexpr std::uint16_t start_value = 0xFFF0;
    auto sum = start_value;
    const auto image = std::make_unique<io::keypad_image_t>();
    const auto stream = stream_on(content);
    const auto reading = io::read_keypad_image(stream.get(), *image, sum);
    fuzz::require(reading.expected_address < io::keypad_image_size, "nothing is expected behind the image");
    if (reading.fault == io::keypad_image_fault_e::none) {
        fuzz::require(sum == static_cast<std::uint16_t>(
                                 std::accumulate(image->begin(), image->end(), std::uint32_t{start_value})),
                      "the sum of a whole image is the sum of its bytes");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::vector<char> content{data, data + size};
    if (!content.empty()) {
        read_records(content);
        read_image(content);
    }
    return 0;
}
