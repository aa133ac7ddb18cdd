#pragma once

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <system_error>

/// One input. Defined by every fuzzer, called by libFuzzer, or by fuzz/replay_main.cpp for files of a corpus.
/// @return 0.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

/// What the fuzzers share.
namespace fuzz {

/// Ends the process, which a fuzzer takes as a find, when a promise does not hold.
inline void require(bool holds, const char* promise) {
    if (!holds) {
        std::fprintf(stderr, "broken promise: %s\n", promise);
        std::abort();
    }
}

/// An input, taken apart from its start. Every part of it can be had from any input: what is missing is empty
/// or 0.
class input_t {
  public:
    input_t(const std::uint8_t* data, std::size_t size)
        : rest_{size == 0 ? "" : reinterpret_cast<const char*>(data), size} {}
    explicit input_t(std::string_view text) : rest_{text} {}

    [[nodiscard]] bool empty() const { return rest_.empty(); }
    [[nodiscard]] std::string_view rest() const { return rest_; }

    char letter() {
        const char first = rest_.empty() ? '\0' : rest_.front();
        rest_.remove_prefix(rest_.empty() ? 0 : 1);
        return first;
    }
    /// Up to the next `end`, which is dropped.
    std::string_view up_to(char end) {
        const auto length = std::min(rest_.find(end), rest_.size());
        const auto part = rest_.substr(0, length);
        rest_.remove_prefix(std::min(length + 1, rest_.size()));
        return part;
    }
    std::string_view line() { return up_to('\n'); }
    /// A decimal number and the space behind it; one that is out of range counts as the nearest in range.
    int number() {
        const auto word = up_to(' ');
        int value = 0;
        if (std::from_chars(word.data(), word.data() + word.size(), value).ec ==
            std::errc::result_out_of_range) {
            return word.front() == '-' ? -0x7FFF'FFFF - 1 : 0x7FFF'FFFF;
        }
        return value;
    }

  private:
    std::string_view rest_;
};

}  // namespace fuzz
