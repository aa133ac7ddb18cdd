#pragma once

#include <string_view>

namespace io {

/// Compares the keypad controller's flash with an image file (Intel HEX, see io/keypad_image.h), and when
/// they differ erases the controller and programs the image into it. One attempt; failing or not, one line in
/// the log "drv_io_page_station" tells the outcome.
///
/// What the flash holds is told by its byte sum alone. The sum that it is compared with adds up over the
/// attempts of a process: a second attempt finds a difference and programs the controller anew, unless the
/// image's byte sum is a multiple of 65536.
///
/// Blocks: about a second for a whole programming, more with a slow controller. Needs the line register's
/// programming mode.
/// @param path  of the image, as the unit knows it.
/// @return true when the firmware is current or was updated, and the controller restarted with it.
[[nodiscard]] bool update_keypad_firmware(std::string_view path);

}  // namespace io
