#include "io/page_station/page_station.h"

#include "io/keypad/keypad_update.h"
#include "io/lcd/fonts.h"
#include "io/lcd/graphics.h"
#include "io/lcd/status_rows.h"
#include "io/mmio.h"
#include "io/page_station/page_station_lcd.h"
#include "io/page_station/page_station_regs.h"
#include "io/refusal.h"
#include "platform/console.h"
#include "platform/log.h"
#include "platform/logger_names.h"
#include "platform/paths.h"

#include <algorithm>
#include <chrono>
#include <ios>
#include <thread>

namespace io {

namespace {

namespace regs = page_station_regs;
namespace control_bits = page_station_regs::control_bits;

// A text's band begins on the row's second line, and its last line is the next row's first.
constexpr status_rows_t rows{{.last_row = 2,
                              .height = 21,
                              .first_text = 1,
                              .frame_bottom = 19,
                              .bar_bottom = 16,
                              .follows_font = false}};

constexpr int start_backlight = -64;
constexpr std::chrono::milliseconds keypad_reset_time{10};
constexpr int update_attempts = 3;

constexpr std::uint32_t keypad_bit_rate = 50'000;
constexpr std::uint8_t key_poll = 0xA2;
constexpr std::uint8_t led_update = 0xA0;
constexpr std::uint8_t keypad_answer = 'B';
constexpr field_t key_number{0, 5};
constexpr field_t key_pressed{6, 6};

template <std::size_t byte_count>
void load(spi_t& spi, const std::array<std::uint8_t, byte_count>& bytes) {
    static_assert(byte_count <= 2 * std::tuple_size_v<decltype(spi.transmit)>);
    spi.bit_count = 8 * byte_count;
    spi.bit_rate = keypad_bit_rate;
    spi.mode = 0;
    for (std::size_t i = 0; i < byte_count; i += 2) {
        const unsigned low = i + 1 < byte_count ? bytes.at(i + 1) : 0u;
        spi.transmit.at(i / 2) = static_cast<std::uint16_t>(unsigned{bytes.at(i)} << 8 | low);
    }
}

std::uint8_t received(const spi_t& spi, std::size_t byte) {
    return static_cast<std::uint8_t>(spi.receive.at(byte / 2) >> (byte % 2 == 0 ? 8 : 0));
}

}  // namespace

bool page_station_t::init(bool full) {
    if (!is_page_station()) {
        return refuse("this is not a page station");
    }
    if (!ready()) {
        return refuse("FPGA base address not initialized");
    }
    if (!initialise(full)) {
        return false;
    }
    block_ = fpga_base() + regs::block_offset;
    lines_.set_register(block_ + regs::keypad_lines);
    if (!spi_.set_base(block_ + regs::spi_controller)) {
        return false;
    }
    if (full) {
        zel::console_line_t{} << "page station initialization";
        mmio::write32(block_ + regs::control, 0);
        mmio::write32(block_ + regs::status, 0);
        lines_.clear();
        led_a_ = {};
        led_b_ = {};
        if (!keypad_bring_up()) {
            return false;
        }
    }
    graphics().init_graphics();
    graphics().select_font(&text_font);
    return true;
}

bool page_station_t::keypad_bring_up() {
    if (!set_backlight(start_backlight)) {
        return false;
    }
    set_keypad_run(false);
    std::this_thread::sleep_for(keypad_reset_time);
    set_keypad_run(true);

    keypad_disabled_ = true;
    lines_.programming_on();
    for (int attempt = 0; attempt < update_attempts && keypad_disabled_; ++attempt) {
        keypad_disabled_ = !update_keypad_firmware(zel::paths::keypad_firmware);
    }
    lines_.programming_off();
    lines_.sdata_released();
    zel::console_line_t{} << "keypad done";
    return true;
}

bool page_station_t::set_backlight(int value) {
    constexpr int lowest = -128;
    constexpr int highest = 127;
    if (value < lowest || value > highest) {
        return refuse("invalid LCD backlight value: ", value);
    }
    return change_control(control_bits::backlight, static_cast<std::uint32_t>(value));
}

bool page_station_t::set_keypad_run(bool run) {
    return change_control(control_bits::keypad_run, run ? 1 : 0);
}

bool page_station_t::get_revision(std::uint32_t& revision) {
    std::uint32_t word = 0;
    if (!read_register(regs::status, word)) {
        return false;
    }
    revision = regs::status_bits::revision.get(word);
    return true;
}

bool page_station_t::read_input(std::uint32_t& word) {
    return read_register(regs::input, word);
}

bool page_station_t::read_input_bit3(bool& level) {
    return read_control_bit(control_bits::input3, level);
}

bool page_station_t::read_input_bit4(bool& level) {
    return read_control_bit(control_bits::input4, level);
}

bool page_station_t::set_output_bit0(bool level) {
    return change_control(control_bits::output0, level ? 1 : 0);
}

bool page_station_t::set_output_bit1(bool level) {
    return change_control(control_bits::output1, level ? 1 : 0);
}

bool page_station_t::set_output_bit2(bool level) {
    return change_control(control_bits::output2, level ? 1 : 0);
}

bool page_station_t::set_output_bit14(bool level) {
    return change_control(control_bits::output14, level ? 1 : 0);
}

bool page_station_t::read_key(std::uint32_t& key, bool& pressed) {
    if (keypad_disabled_) {
        key = 0;
        pressed = false;
        return true;
    }
    if (block_ == nullptr) {
        return false;
    }
    load(spi_, std::array<std::uint8_t, 3>{key_poll, 0, 0});
    if (!lines_.key_event_pending()) {
        return true;
    }
    if (!spi_.transfer(true)) {
        return false;
    }
    const unsigned answer = received(spi_, 0);
    if (answer != keypad_answer) {
        zel::console_line_t{} << "invalid keypad response: 0x" << std::hex << answer;
        return false;
    }
    const std::uint32_t event = received(spi_, 2);
    key = key_number.get(event);
    pressed = key_pressed.get(event) != 0;
    return true;
}

bool page_station_t::set_led_a(int index, bool on, bool send) {
    return set_led(led_a_, index, on, send);
}

bool page_station_t::set_led_b(int index, bool on, bool send) {
    return set_led(led_b_, index, on, send);
}

bool page_station_t::set_led(led_bank_t& bank, int index, bool on, bool send) {
    if (index < 0 || index >= led_count) {
        return refuse("invalid keypad LED: ", index);
    }
    // LEDs 0 to 31 go across the first four bytes, lowest bits first; the last one has a byte of its own.
    const auto led = static_cast<unsigned>(index);
    const bool is_last = index == led_count - 1;
    const unsigned bit = is_last ? 0 : led / 4;
    auto& byte = bank.at(is_last ? 4 : led % 4);
    byte = static_cast<std::uint8_t>(field_t{bit, bit}.set(byte, on ? 1 : 0));
    return !send || send_leds();
}

bool page_station_t::send_leds() {
    std::array<std::uint8_t, 1 + 2 * std::tuple_size_v<led_bank_t>> frame{led_update};
    std::ranges::copy(led_b_, std::ranges::copy(led_a_, frame.begin() + 1).out);
    load(spi_, frame);
    if (!spi_.transfer(true)) {
        return false;
    }
    const unsigned answer = received(spi_, 0);
    if (answer != keypad_answer) {
        zel::scope_logger{zel::loggers::page_station, zel::log_level_e::error} << "invalid keypad response="
                                                                               << answer;
        return false;
    }
    return true;
}

bool page_station_t::draw_text(int row, std::string_view text, bool centred) {
    return rows.draw_text(row, text, centred);
}

bool page_station_t::draw_progress(int row, int percent) {
    return rows.draw_progress(row, percent);
}

bool page_station_t::read_register(std::size_t offset, std::uint32_t& word) const {
    if (block_ == nullptr) {
        return false;
    }
    word = mmio::read32(block_ + offset);
    return true;
}

bool page_station_t::read_control_bit(field_t field, bool& level) const {
    std::uint32_t word = 0;
    if (!read_register(regs::control, word)) {
        return false;
    }
    level = field.get(word) != 0;
    return true;
}

bool page_station_t::change_control(field_t field, std::uint32_t value) {
    std::uint32_t word = 0;
    if (!read_register(regs::control, word)) {
        return false;
    }
    mmio::write32(block_ + regs::control, field.set(word, value));
    return true;
}

page_station_t& page_station() {
    static auto& instance = []() -> page_station_t& {
        add_lcd_bus(page_station_lcd_bus);
        return *new page_station_t;
    }();
    return instance;
}

void page_station_output_bit2_high() {
    page_station().set_output_bit2(true);
}

void page_station_output_bit2_low() {
    page_station().set_output_bit2(false);
}

}  // namespace io
