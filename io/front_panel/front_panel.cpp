#include "io/front_panel/front_panel.h"

#include "io/driver_log.h"
#include "io/front_panel/front_panel_regs.h"
#include "io/lcd/fonts.h"
#include "io/lcd/graphics.h"
#include "io/lcd/lcd_bus.h"
#include "io/mmio.h"
#include "io/platform_tables.h"
#include "io/refusal.h"
#include "platform/console.h"
#include "platform/identity.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <thread>

namespace io {

namespace regs = front_panel_regs;

namespace {

constexpr std::uint32_t panel_bit_rate = 10'000'000;
constexpr std::uint32_t lcd_bit_rate = 30'000'000;
constexpr std::uint16_t status_request = 0xC000;

// What an LCD transfer has on the wire besides its bytes, in transmit words. The same every time but for
// `data_byte`, which tells data from a command.
constexpr unsigned byte_frame = 0x8004;
constexpr unsigned data_byte = 0x0020;
constexpr unsigned second_byte_frame = 0x4012;
constexpr std::uint16_t end_of_frame = 0x4000;

}  // namespace

bool front_panel_t::is_supported() {
    using platform_tables::models_without_front_panel;
    using platform_tables::with_front_panel;
    return std::ranges::find(with_front_panel, platform_id()) != with_front_panel.end() &&
           zel::platform_identity().platform != platform_tables::platform_code_without_front_panel &&
           std::ranges::find(models_without_front_panel, zel::model_code()) ==
               models_without_front_panel.end();
}

bool front_panel_t::initialise(bool reset) {
    if (!is_supported()) {
        return refuse("front panel not supported by platform");
    }
    if (!ready()) {
        return refuse("FPGA base address not initialized");
    }
    control_ = fpga_base() + regs::control;
    shared_ = shared_area_c();
    if (!spi_.set_base(fpga_base() + regs::spi)) {
        return false;
    }
    if (reset) {
        zel::console_line_t{} << "front panel initialization";
        mmio::write32(control_, 0);
        if (!reset_lcd()) {
            return false;
        }
    }
    int revision = 0;
    if (!read_revision(revision)) {
        return false;
    }
    zel::console_line_t{} << "front panel revision: " << revision;
    return true;
}

bool front_panel_t::reset_lcd() {
    using namespace std::chrono_literals;
    if (control_ == nullptr) {
        return false;
    }
    const auto control = mmio::read32(control_);
    mmio::write32(control_, regs::lcd_reset.set(control, 1));
    std::this_thread::sleep_for(1ms);
    mmio::write32(control_, regs::lcd_reset.set(control, 0));
    graphics().mark_uninitialised();
    constexpr int dark = -128;
    if (!set_backlight(dark) || !graphics().init_graphics()) {
        return false;
    }
    graphics().select_font(&text_font);
    return true;
}

bool front_panel_t::read_revision(int& revision) {
    std::uint32_t status = 0;
    if (!read_status(status)) {
        return false;
    }
    if (regs::buttons.get(status) == 0) {
        error() << "Front panel not found";
        return false;
    }
    int read = -1;
    if (regs::revision_present.get(status) != 0) {
        const auto code = regs::revision_code.get(status);
        read = code == regs::other_code_of_revision_0 ? 0 : static_cast<int>(code);
    }
    revision_ = std::clamp(read, -1, 1);
    revision = revision_;
    return true;
}

bool front_panel_t::set_backlight(int level) {
    if (level < -128 || level > 127) {
        return refuse("invalid LCD backlight value: ", level);
    }
    if (control_ == nullptr) {
        return false;
    }
    const auto control = mmio::read32(control_);
    mmio::write32(control_, regs::backlight.set(control, static_cast<std::uint32_t>(level)));
    return true;
}

bool front_panel_t::poll_buttons(std::uint32_t& pressed) {
    std::uint32_t status = 0;
    if (!read_status(status)) {
        return false;
    }
    const auto now = regs::buttons.get(~status);
    for (unsigned button = 0; button < button_count; ++button) {
        const auto bit = 1u << button;
        if (((now ^ last_pressed_) & bit) != 0) {
            auto* const count =
                counter((now & bit) != 0 ? regs::button_presses : regs::button_releases, button);
            mmio::write32(count, mmio::read32(count) + 1);
        }
    }
    last_pressed_ = now;
    pressed = now;
    return true;
}

std::byte* front_panel_t::counter(std::size_t counters, unsigned button) const {
    if (button >= button_count) {
        refuse("invalid front panel button: ", button);
        return nullptr;
    }
    return shared_ == nullptr ? nullptr : shared_ + counters + std::size_t{4} * button;
}

bool front_panel_t::read_counter(std::size_t counters, unsigned button, std::uint32_t& count) const {
    const auto* const word = counter(counters, button);
    if (word != nullptr) {
        count = mmio::read32(word);
    }
    return word != nullptr;
}

bool front_panel_t::write_counter(std::size_t counters, unsigned button, std::uint32_t count) {
    auto* const word = counter(counters, button);
    if (word != nullptr) {
        mmio::write32(word, count);
    }
    return word != nullptr;
}

bool front_panel_t::get_press_count(unsigned button, std::uint32_t& count) const {
    return read_counter(regs::button_presses, button, count);
}

bool front_panel_t::set_press_count(unsigned button, std::uint32_t count) {
    return write_counter(regs::button_presses, button, count);
}

bool front_panel_t::get_release_count(unsigned button, std::uint32_t& count) const {
    return read_counter(regs::button_releases, button, count);
}

bool front_panel_t::set_release_count(unsigned button, std::uint32_t count) {
    return write_counter(regs::button_releases, button, count);
}

bool front_panel_t::set_slot_channel_state(int slot, int channel, std::uint32_t state) {
    const auto unit_itself = static_cast<int>(slot_count());
    if (slot < 0 || slot > unit_itself) {
        return refuse("invalid front panel slot: ", slot);
    }
    if (channel < 0 || channel >= channels_per_slot) {
        return refuse("invalid front panel channel: ", channel);
    }
    if (slot == unit_itself && channel != 0) {
        return refuse("invalid front panel slot channel: ", channel);
    }
    if (shared_ == nullptr) {
        return false;
    }
    const int entry = (slot * channels_per_slot) + channel;
    mmio::write32(shared_ + regs::slot_channel_states + 4 * static_cast<std::size_t>(entry), state);
    return true;
}

bool front_panel_t::set_leds(std::span<const int, panel_led_count> states) {
    if (platform_id() == platform_tables::platform_without_led_image) {
        return spi_.transfer(false);
    }
    std::array<led_state_e, panel_led_count> leds{};
    for (std::size_t led = 0; led < leds.size(); ++led) {
        if (states[led] < 0 || states[led] > 3) {
            return refuse("invalid front panel state: ", states[led]);
        }
        leds[led] = static_cast<led_state_e>(states[led]);
    }
    set_up_spi(49, panel_bit_rate);
    std::ranges::copy(led_transfer(led_driver_words(revision_, leds)), spi_.transmit.begin());
    return spi_.transfer(false);
}

bool front_panel_t::set_all_leds(int state) {
    std::array<int, panel_led_count> states{};
    states.fill(state);
    return set_leds(states);
}

bool front_panel_t::send_to_lcd(bool is_data, std::uint8_t byte) {
    set_up_spi(18, lcd_bit_rate);
    const auto kind = is_data ? byte_frame | data_byte : byte_frame;
    spi_.transmit[0] = static_cast<std::uint16_t>(unsigned{byte} << 6 | kind);
    spi_.transmit[1] = end_of_frame;
    return spi_.transfer(false);
}

bool front_panel_t::send_word_to_lcd(std::uint16_t word) {
    set_up_spi(35, lcd_bit_rate);
    spi_.transmit[0] = static_cast<std::uint16_t>((word >> 2 & 0x3FC0u) | byte_frame | data_byte);
    spi_.transmit[1] = static_cast<std::uint16_t>((unsigned{word} << 5 & 0x1FE0u) | second_byte_frame);
    spi_.transmit[2] = end_of_frame;
    return spi_.transfer(false);
}

bool front_panel_t::read_status(std::uint32_t& status) {
    set_up_spi(12, panel_bit_rate);
    spi_.transmit[0] = status_request;
    if (!spi_.transfer(true)) {
        return false;
    }
    status = spi_.receive[0];
    return true;
}

void front_panel_t::set_up_spi(std::uint32_t bit_count, std::uint32_t bit_rate) {
    spi_.bit_count = bit_count;
    spi_.bit_rate = bit_rate;
    spi_.mode = 0;
}

namespace {

// A unit that is no page station has no other LCD than this panel's.
constinit const lcd_bus_t lcd_bus{
    .is_in_use = [] { return !system_t::is_page_station(); },
    .write = [](bool is_data, std::uint8_t byte) { return front_panel().send_to_lcd(is_data, byte); },
    .write_word = [](std::uint16_t word) { return front_panel().send_word_to_lcd(word); },
};

}  // namespace

front_panel_t& front_panel() {
    static auto& instance = []() -> front_panel_t& {
        add_lcd_bus(lcd_bus);
        return *new front_panel_t;
    }();
    return instance;
}

}  // namespace io
