#pragma once

#include "io/lcd/frame_buffer.h"
#include "io/lcd/pixel_rect.h"

#include <cstdint>
#include <optional>

namespace io {

/// The grey-scale LCD controller behind the LCD bus: its start and the transfer of pixels. It can only be
/// written to. A sequence ends at the first transfer that fails.
class lcd_controller_t {
  public:
    /// Brings the controller from reset to a lit, empty screen and makes the frame buffer paper as well.
    /// Blocks for about 200 ms.
    [[nodiscard]] bool start(frame_buffer_t& frame);

    /// Sends the part of the frame buffer inside `area`, in whole words of three pixels, line by line. Blocks
    /// for up to 11 transfers that set the window and one per word, 5120 for the whole screen (about 6 ms on
    /// the wire); the first that fails, after 100 000 looks at the controller, ends it. What lies outside the
    /// screen is left out.
    /// @return false when a transfer failed; part of the area may have arrived. True when there was nothing
    ///         to send.
    [[nodiscard]] bool send(const frame_buffer_t& frame, const pixel_rect_t& area);

  private:
    /// Where the address goes after a word has been written.
    enum class scan_direction_e : std::uint8_t { columns_first = 0x02, lines_first = 0x06 };

    [[nodiscard]] bool set_address_range(const pixel_rect_t& area);
    [[nodiscard]] bool set_scan_direction(scan_direction_e direction);

    /// As the controller has it; nothing while that cannot be told.
    std::optional<scan_direction_e> scan_direction_;
};

}  // namespace io
