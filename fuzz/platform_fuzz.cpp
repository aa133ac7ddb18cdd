// What the property engine says a unit is.
//
// Input: the values of the seven properties, one a line. A line that is not there is an answer that never
// comes.

#include "fuzz/harness.h"
#include "platform/identity.h"
#include "platform/product_tables.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <string>
#include <string_view>

namespace {

fuzz::input_t answers{std::string_view{}};

bool next_answer(const std::string& /*name*/, std::string& value) {
    if (answers.empty()) {
        return false;
    }
    value = answers.line();
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    answers = {data, size};
    try {
        const auto record = zel::read_platform(&next_answer);
        if (record) {
            constexpr std::array codes{0, 1, 2, 3, 4, 6};
            fuzz::require(std::ranges::find(codes, record->arch) != codes.end(), "an architecture is listed");
            fuzz::require(record->part_number == zel::part_number_code(record->part_number_text),
                          "the text of the part number is kept");
            static_cast<void>(zel::short_name(record->part_number));
            static_cast<void>(zel::display_name(record->part_number));
            static_cast<void>(zel::processing_cpus(record->part_number));
        }
    } catch (const std::out_of_range&) {
        // A platform that is not listed.
    }
    return 0;
}
