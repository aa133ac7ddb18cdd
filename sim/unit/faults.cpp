#include "sim/unit/faults.h"

#include "ipc/frame.h"
#include "platform/paths.h"
#include "sim/board/front_panel_block.h"
#include "sim/board/keypad_setup.h"
#include "sim/root/shared_state.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <string>

namespace sim {

namespace {

using namespace std::chrono_literals;

front_panel_state_t& front_panel() {
    return shared_state<front_panel_state_t>("front_panel");
}

// Where there is something to go wrong.

bool anywhere(const unit_definition_t&) {
    return true;
}
bool with_front_panel(const unit_definition_t& unit) {
    return unit.has_front_panel;
}
bool with_page_station(const unit_definition_t& unit) {
    return unit.has_page_station;
}
bool with_serial_panel(const unit_definition_t& unit) {
    return unit.has_serial_panel;
}
bool with_io_device(const unit_definition_t& unit) {
    return unit.fpga_id.has_value();
}

// Faults that are there from the start.

void lose_display(unit_builder_t& builder, display_e which) {
    auto& expected = builder.definition().expected.display;
    expected = expected == which ? display_e::none : expected;
}

void unplug_panel(unit_builder_t& builder) {
    lose_display(builder, display_e::front_panel);
    builder.prepared_by([](unit_t&) { front_panel().present = false; });
}

void stop_spi_later(unit_builder_t& builder) {
    builder.prepared_by([](unit_t&) {
        front_panel().link.fault = spi_fault_e::never_done;
        front_panel().link.healthy_transfers = 9'000;
    });
}

template <keypad_setup_e setup>
void arrange_keypad(unit_builder_t& builder) {
    builder.prepared_by([](unit_t& unit) { set_up_keypad(unit.root(), setup); });
}

void remove_keypad_image(unit_builder_t& builder) {
    builder.prepared_by([](unit_t& unit) { unit.root().remove_file(zel::paths::keypad_firmware); });
}

void silence_module(unit_builder_t& builder) {
    lose_display(builder, display_e::serial_panel);
    builder.with_serial_manners({.answer = ""});
}

void confuse_module(unit_builder_t& builder) {
    lose_display(builder, display_e::serial_panel);
    builder.with_serial_manners({.answer = "X"});
}

void delay_module(unit_builder_t& builder) {
    lose_display(builder, display_e::serial_panel);
    builder.with_serial_manners({.delay = 800ms});
}

void remove_io_device(unit_builder_t& builder) {
    builder.definition().fpga_id.reset();
    builder.definition().expected = {};
}

void shorten_io_device(unit_builder_t& builder) {
    remove_io_device(builder);
    builder.prepared_by([](unit_t& unit) { unit.root().write_file("/dev/io", "short"); });
}

void leave_out_notifications(unit_builder_t& builder) {
    builder.without_notification_service();
}

// Faults that begin in the middle of an update, and their ends.

void nothing(unit_t&) {}

void stall_notifications(unit_t& unit) {
    unit.notifications().stall(true);
}
void resume_notifications(unit_t& unit) {
    unit.notifications().stall(false);
}

// With bytes unread, so that the daemon finds its connection reset.
void reset_notifications(unit_t& unit) {
    unit.notifications().stall(true);
    unit.run_passes(50);
    unit.notifications().shut_down();
}
void restart_notifications(unit_t& unit) {
    unit.notifications().stall(false);
    unit.notifications().start();
}

std::string repeated(std::string_view text, int count) {
    std::string all;
    while (count-- > 0) {
        all += text;
    }
    return all;
}

// The shortest message there is, 17 MB of it without a pause.
void flood(unit_t& unit) {
    unit.engine().send_raw(repeated(zel::frame::encode({"", "", ""}), 1'000'000));
}

void send_half_frames(unit_t& unit) {
    unit.engine().send_raw(repeated("ipc_magic\xff\xff\x07", 500'000));
}
// The rest of the last half frame, and everybody is in step again.
void end_half_frame(unit_t& unit) {
    unit.engine().send_raw(std::string(70'000, '.'));
}

void kill_engine(unit_t& unit) {
    unit.engine().send_raw("garbage ipc_magic");
    unit.engine().half_close_clients();
    unit.run_passes(2);
    unit.engine().shut_down();
}
void restart_engine(unit_t& unit) {
    unit.engine().start();
}

void move_status_directory(unit_t& unit, const char* from, const char* to) {
    std::filesystem::rename(unit.root().file(from), unit.root().file(to));
}
void lose_status_directory(unit_t& unit) {
    move_status_directory(unit, "/usr/zel/www", "/usr/zel/lost");
}
void find_status_directory(unit_t& unit) {
    move_status_directory(unit, "/usr/zel/lost", "/usr/zel/www");
}

template <spi_fault_e fault>
void set_panel_link(unit_t&) {
    front_panel().link.fault = fault;
}
constexpr auto repair_panel = set_panel_link<spi_fault_e::none>;

constexpr works_t everything{};
constexpr works_t deaf{.news = false};
constexpr works_t without_file{.file = false};
constexpr works_t mute{.notifications = false};
constexpr works_t dark{.display = false};

// What comes back is of no use to the daemon, which connects once, at its start.

constexpr fault_t all_faults[]{
    {"panel-absent", "base-unit", "no front panel is plugged in", with_front_panel, unplug_panel},
    {"spi-stops-early", "base-unit", "the panel's SPI controller stops answering after the opening screen",
     with_front_panel, stop_spi_later, nullptr, nullptr, dark, dark},
    {"keypad-no-image", "page-station", "the unit has no image for its keypad controller", with_page_station,
     remove_keypad_image},
    {"keypad-outdated", "page-station", "the keypad controller holds an older firmware", with_page_station,
     arrange_keypad<keypad_setup_e::outdated>},
    {"keypad-blank", "page-station", "the keypad controller is erased", with_page_station,
     arrange_keypad<keypad_setup_e::blank>},
    {"keypad-absent", "page-station", "nobody answers on the keypad controller's lines", with_page_station,
     arrange_keypad<keypad_setup_e::absent>},
    {"keypad-wrong-type", "page-station", "a controller with another silicon ID", with_page_station,
     arrange_keypad<keypad_setup_e::wrong_type>},
    {"keypad-worn-out", "page-station", "a flash bit of the keypad controller cannot be programmed",
     with_page_station, arrange_keypad<keypad_setup_e::worn_out>},
    {"keypad-never-answers", "page-station", "the keypad controller starts operations and never ends them",
     with_page_station, arrange_keypad<keypad_setup_e::never_answers>},
    {"keypad-slow-to-enter", "page-station", "the keypad controller misses its first entry key",
     with_page_station, arrange_keypad<keypad_setup_e::slow_to_enter>},
    {"module-silent", "serial-panel", "the serial display module does not answer the probe",
     with_serial_panel, silence_module},
    {"module-wrong", "serial-panel", "the serial display module answers another byte", with_serial_panel,
     confuse_module},
    {"module-late", "serial-panel", "the serial display module answers after the daemon's patience",
     with_serial_panel, delay_module},
    {"no-io-device", "base-unit", "\"/dev/io\" is missing", with_io_device, remove_io_device},
    {"short-io-device", "base-unit", "\"/dev/io\" is too short to be mapped", with_io_device,
     shorten_io_device},
    {"no-notifications", "container", "nobody listens for notifications", anywhere, leave_out_notifications,
     nullptr, nullptr, mute, mute},
    {"notifications-stall", "container", "the notification service reads no more, for a while", anywhere,
     nullptr, stall_notifications, resume_notifications, mute, everything},
    {"notifications-reset", "container", "the notification service dies, and comes back", anywhere, nullptr,
     reset_notifications, restart_notifications, mute, mute},
    {"engine-floods", "container", "the engine sends a million messages without a pause", anywhere, nullptr,
     flood, nothing, everything, everything},
    {"engine-half-frames", "container", "the engine sends half a million half frames", anywhere, nullptr,
     send_half_frames, end_half_frame, deaf, everything},
    {"engine-dies", "container", "the engine dies in the middle of a frame, and comes back", anywhere,
     nullptr, kill_engine, restart_engine, deaf, deaf},
    {"no-status-directory", "container", "the directory of the status file is gone, for a while", anywhere,
     nullptr, lose_status_directory, find_status_directory, without_file, everything},
    {"spi-stops", "base-unit", "the panel's SPI controller stops answering, for a while", with_front_panel,
     nullptr, set_panel_link<spi_fault_e::never_done>, repair_panel, dark, everything},
    {"spi-stays-busy", "base-unit", "the panel's SPI controller says that it is busy, for a while",
     with_front_panel, nullptr, set_panel_link<spi_fault_e::busy_for_ever>, repair_panel, dark, everything},
};

}  // namespace

works_t operator&&(const works_t& one, const works_t& other) {
    return {one.news && other.news, one.file && other.file, one.notifications && other.notifications,
            one.display && other.display};
}

std::span<const fault_t> faults() {
    return all_faults;
}

const fault_t* find_fault(std::string_view name) {
    const auto* const found = std::ranges::find(all_faults, name, &fault_t::name);
    return found == std::end(all_faults) ? nullptr : found;
}

void move_key(const unit_definition_t& unit, unsigned number, bool pressed) {
    if (unit.has_front_panel) {
        const auto button = 1u << (number % 32);
        auto& buttons = front_panel().pressed_buttons;
        buttons = pressed ? buttons | button : buttons & ~button;
    } else if (unit.has_page_station) {
        shared_state<page_station_state_t>("page_station")
            .face.key(static_cast<std::uint8_t>(number), pressed);
    }
}

}  // namespace sim
