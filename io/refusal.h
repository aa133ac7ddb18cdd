#pragma once

#include "platform/console.h"

namespace io {

/// How an operation that returns its success refuses: one line on standard output.
/// @return false, always.
template <typename... texts_t>
bool refuse(const texts_t&... texts) {
    zel::console_line_t line;
    (line << ... << texts);
    return false;
}

}  // namespace io
