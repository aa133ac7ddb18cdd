#include "tools/fwpush/unit_view.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace fwpush {

namespace {

bool follows(char byte) {
    return (static_cast<unsigned char>(byte) & 0xc0U) == 0x80U;
}

// Length of the UTF-8 sequence at the beginning of `text`, which is not empty; 0 when there is none, or when
// it is a control character, one that turns the direction of writing, or no character at all.
std::size_t character_at(std::string_view text) {
    const auto first = static_cast<unsigned char>(text.front());
    if (first < 0x80) {
        return first < 0x20 || first == 0x7f ? 0 : 1;
    }
    const std::size_t length = first >= 0xf0 ? 4 : first >= 0xe0 ? 3 : 2;
    if (first < 0xc2 || first > 0xf4 || text.size() < length ||
        !std::all_of(text.begin() + 1, text.begin() + static_cast<std::ptrdiff_t>(length), follows)) {
        return 0;
    }
    auto code = first & (0x7fU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        code = code << 6U | (static_cast<unsigned char>(text[i]) & 0x3fU);
    }
    constexpr std::array<unsigned, 5> shortest{0, 0, 0x80, 0x800, 0x10000};
    const bool is_surrogate = code >= 0xd800 && code <= 0xdfff;
    const bool turns = (code >= 0x2028 && code <= 0x202e) || (code >= 0x2066 && code <= 0x2069) ||
                       code == 0x200e || code == 0x200f || code == 0x061c;
    const bool is_good = code >= shortest.at(length) && code <= 0x10ffff && code >= 0xa0;
    return is_good && !is_surrogate && !turns ? length : 0;
}

}  // namespace

std::string_view word_for(const unit_view_t& unit) {
    if (unit.outcome) {
        return name_of(*unit.outcome);
    }
    return unit.is_waiting ? "waiting" : name_of(unit.stage);
}

std::string printable(std::string_view text, std::size_t length) {
    std::string result;
    for (; !text.empty() && length != 0; --length) {
        const auto size = character_at(text);
        if (size == 0) {
            result += '?';
        } else {
            result += text.substr(0, size);
        }
        text.remove_prefix(std::max<std::size_t>(size, 1));
    }
    return result;
}

std::size_t width_of(std::string_view printable_text) {
    return printable_text.size() -
           static_cast<std::size_t>(std::count_if(printable_text.begin(), printable_text.end(), follows));
}

std::string filled(std::string printable_text, std::size_t width) {
    printable_text.append(width - std::min(width, width_of(printable_text)), ' ');
    return printable_text;
}

std::string minutes(std::chrono::milliseconds time) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time).count();
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%lld:%02lld", static_cast<long long>(seconds / 60),
                  static_cast<long long>(seconds % 60));
    return text.data();
}

}  // namespace fwpush
