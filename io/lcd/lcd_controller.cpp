#include "io/lcd/lcd_controller.h"

#include "io/lcd/lcd_bus.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <initializer_list>
#include <span>
#include <thread>

namespace io {

namespace {

/// A command, its data, and how long to wait after the last of them.
struct lcd_command_t {
    std::uint8_t code;
    std::uint8_t data_count;
    std::array<std::uint8_t, 16> data;
    std::chrono::milliseconds pause;
};

constexpr lcd_command_t command(std::uint8_t code, std::initializer_list<std::uint8_t> data = {},
                                std::chrono::milliseconds pause = {}) {
    lcd_command_t made{code, static_cast<std::uint8_t>(data.size()), {}, pause};
    std::copy(data.begin(), data.end(), made.data.begin());
    return made;
}

using namespace std::chrono_literals;

constexpr std::array power_up{
    command(0x30),                      // command table 0
    command(0x94),                      // leave sleep
    command(0xD1),                      // oscillator on
    command(0x20, {0x08}, 2ms),         // power: booster alone, until it has settled
    command(0x20, {0x0B}),              // power: booster, follower and reference
    command(0x81, {0x12, 0x03}),        // contrast, 12.0 V
    command(0xCA, {0x04, 0x0F, 0x00}),  // clock divided by two, 64 lines, no inversion by lines
    command(0xA6),                      // not inverted
    command(0xBB, {0x00}),              // lines in ascending order
};

constexpr std::array set_up_glass{
    command(0x31),  // command table 1
    // Grey levels of the first and of the second frame
    command(0x20, {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1}),
    command(0x21, {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1}),
    command(0x32, {0x01, 0x00, 0x05}),  // oscillator 17.3 kHz, booster 3 kHz, bias 1/9
    command(0x34),                      // software initial: leaves what is set above
    command(0x30),
    command(0x07, {0x19}),  // makes the trim memory answer
    command(0x31),
    command(0xCD, {0x00}, 100ms),  // trim memory: read mode
    command(0xFD, {}, 100ms),      // read it
    command(0xCC),                 // and leave it
    command(0x30),
    command(0x30),
};

constexpr std::uint8_t display_on = 0xAF;
constexpr std::uint8_t column_range = 0x15;
constexpr std::uint8_t line_range = 0x75;
constexpr std::uint8_t data_scan_direction = 0xBC;
constexpr std::uint8_t write_memory = 0x5C;

bool send_command(std::uint8_t code, std::span<const std::uint8_t> data = {}) {
    return lcd_write(false, code) &&
           std::ranges::all_of(data, [](std::uint8_t byte) { return lcd_write(true, byte); });
}

bool run(std::span<const lcd_command_t> sequence) {
    return std::ranges::all_of(sequence, [](const lcd_command_t& step) {
        if (!send_command(step.code, std::span{step.data}.first(step.data_count))) {
            return false;
        }
        std::this_thread::sleep_for(step.pause);
        return true;
    });
}

constexpr std::uint8_t word_column(int x) {
    return static_cast<std::uint8_t>(x / frame_buffer_t::pixels_per_word);
}

}  // namespace

bool lcd_controller_t::start(frame_buffer_t& frame) {
    frame.clear();
    return run(power_up) && set_scan_direction(scan_direction_.value_or(scan_direction_e::columns_first)) &&
           set_address_range(frame_buffer_t::screen) && run(set_up_glass) && send_command(display_on) &&
           send(frame, frame_buffer_t::screen) && send_command(display_on);
}

bool lcd_controller_t::send(const frame_buffer_t& frame, const pixel_rect_t& area) {
    const auto visible = area.clipped_to(frame_buffer_t::screen);
    if (visible.empty()) {
        return true;
    }
    if (!set_address_range(visible) || !send_command(write_memory)) {
        return false;
    }
    const std::size_t first = word_column(visible.left);
    const std::size_t count = word_column(visible.right) - first + 1;
    for (int y = visible.top; y <= visible.bottom; ++y) {
        if (!std::ranges::all_of(frame.line(y).subspan(first, count), lcd_write_word)) {
            return false;
        }
    }
    return true;
}

bool lcd_controller_t::set_address_range(const pixel_rect_t& area) {
    const std::array columns{word_column(area.left), word_column(area.right)};
    const std::array lines{static_cast<std::uint8_t>(area.top), static_cast<std::uint8_t>(area.bottom)};
    const auto wanted =
        columns[0] == columns[1] ? scan_direction_e::lines_first : scan_direction_e::columns_first;
    return (scan_direction_ == wanted || set_scan_direction(wanted)) && send_command(column_range, columns) &&
           send_command(line_range, lines);
}

bool lcd_controller_t::set_scan_direction(scan_direction_e direction) {
    // Columns mirrored, the three pixels of a word in reverse, two bytes per word: how the glass is wired.
    const std::array<std::uint8_t, 3> wiring{static_cast<std::uint8_t>(direction), 0x01, 0x01};
    scan_direction_.reset();
    if (!send_command(data_scan_direction, wiring)) {
        return false;
    }
    scan_direction_ = direction;
    return true;
}

}  // namespace io
