// A unit's status file as it comes over the network, and what people see of its detail.
//
// Input: the file. What lies behind its first "<detail>" is also put into a file of our own.

#include "firmware/uploader/status_answer.h"
#include "fuzz/harness.h"
#include "tools/fwpush/unit_view.h"

#include <algorithm>
#include <string>

namespace {

void check_shown(const std::string& detail) {
    const auto shown = fwpush::printable(detail);
    fuzz::require(fwpush::printable(shown) == shown, "what is printable stays as it is");
    fuzz::require(fwpush::width_of(shown) <= 200, "what people see is short");
    fuzz::require(
        std::none_of(shown.begin(), shown.end(),
                     [](char byte) { return static_cast<unsigned char>(byte) < 0x20 || byte == 0x7f; }),
        "what people see has no control characters");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text{fuzz::input_t{data, size}.rest()};
    const auto status = firmware::read_status_answer(text);
    if (status) {
        fuzz::require(!status->state.empty(), "a state that was read is none");
        fuzz::require(status->progress >= -1 && status->progress <= 100, "a progress is a percentage, or -1");
        check_shown(status->detail);
    }
    const auto hostile = firmware::read_status_answer(
        "<status><state>fw_write</state><progress>37</progress><detail>" + text + "</detail></status>");
    fuzz::require(hostile && hostile->state == "fw_write" && hostile->progress == 37 &&
                      hostile->detail == text,
                  "a detail decides nothing and arrives as it is");
    check_shown(hostile->detail);
    return 0;
}
