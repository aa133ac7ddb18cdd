#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace io {

/// One character of a text and the bytes that it took.
struct utf8_character_t {
    std::uint32_t code = 0;
    std::size_t length = 0;  ///< bytes, at least 1
};

/// Decodes the first character of a text that is not empty, in UTF-8 with sequences of up to six bytes; a
/// longer form than needed is taken as well.
///
/// Whatever makes no character is a "?": a byte that cannot lead a sequence, a sequence with a bad or missing
/// continuation byte, the value 0 and a value above `highest`. A byte that breaks a sequence is not part of
/// it; the next character starts there. Never reads past the end of the text. `highest` is at least 127.
[[nodiscard]] utf8_character_t decode_utf8(std::string_view text, std::uint32_t highest);

}  // namespace io
