#pragma once

#include <string_view>

namespace io {

/// Hears how far a programming has come: so many of all blocks, each counted when written and when read back.
using keypad_progress_t = void (*)(unsigned done, unsigned all);

/// Compares the keypad controller's flash with an image file (Intel HEX, see io/keypad/keypad_image.h), and
/// when they differ erases the controller and programs the image into it. One attempt; failing or not, one
/// line in the log "drv_io_page_station" tells the outcome.
///
/// What the flash holds is told by its byte sum alone. The sum that it is compared with adds up over the
/// attempts of a process: a second attempt finds a difference and programs the controller anew, unless the
/// image's byte sum is a multiple of 65536.
///
/// Blocks: some 6300 register accesses for a controller that is up to date, 1.6 million for one that is
/// programmed, and the controller's own time. That is at most 133 waits (start, ID, two sums, erasing, 64
/// blocks written and 64 read) of 201 looks 1 ms apart: about 27 s. The first wait that fails ends the
/// attempt; when nobody answers, that is at once with SDATA low and after 0.2 s with SDATA stuck high. Needs
/// the line register's programming mode.
/// @param path      of the image, as the unit knows it.
/// @param progress  told behind every block that was programmed or read back, when given.
/// @return true when the firmware is current or was updated, and the controller restarted with it.
[[nodiscard]] bool update_keypad_firmware(std::string_view path, keypad_progress_t progress = nullptr);

}  // namespace io
