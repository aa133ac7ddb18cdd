#pragma once

#include "io/keypad/keypad_image.h"

#include <cstdint>
#include <string>

namespace tools::unitctl {

/// Reads a whole image of the keypad controller's flash; throws `refusal_t` when the file is none.
/// @param path  as the unit knows it.
/// @param sum   of the image's bytes, modulo 65536.
[[nodiscard]] io::keypad_image_t read_image(const std::string& path, std::uint16_t& sum);

}  // namespace tools::unitctl
