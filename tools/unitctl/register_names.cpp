#include "tools/unitctl/register_names.h"

#include "io/control_regs.h"
#include "io/front_panel/front_panel_regs.h"
#include "io/page_station/page_station_regs.h"
#include "io/spi_regs.h"

#include <algorithm>
#include <charconv>

namespace tools::unitctl {

namespace {

constexpr std::size_t area_c = 0x3C000;      ///< of the shared region
constexpr std::size_t panel_words = 0x59A4;  ///< of area C; no driver uses them

/// Fills the list from the maps of the drivers' registers.
class list_t {
  public:
    void add(std::string name, std::size_t offset, const char* access, bool is_byte = false) {
        registers_.push_back({std::move(name), {false, static_cast<std::uint32_t>(offset), is_byte}, access});
    }
    void add_shared(std::string name, std::size_t offset) {
        registers_.push_back({std::move(name), {true, static_cast<std::uint32_t>(offset), false}, "rw"});
    }
    void add_shared_words(const std::string& name, std::size_t offset, std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            add_shared(name + std::to_string(i), offset + 4 * i);
        }
    }
    void add_spi(const std::string& block, std::size_t offset) {
        namespace regs = io::spi_regs;
        add(block + ".control", offset + regs::control, "rw");
        add(block + ".rate", offset + regs::rate, "w");
        add(block + ".length", offset + regs::length, "w");
        add(block + ".command", offset + regs::command, "w");
        for (std::size_t i = 0; i < regs::data_words; ++i) {
            add(block + ".transmit" + std::to_string(i), offset + regs::transmit + regs::data_stride * i,
                "w");
        }
        for (std::size_t i = 0; i < regs::data_words; ++i) {
            add(block + ".receive" + std::to_string(i), offset + regs::receive + regs::data_stride * i, "r");
        }
    }
    std::vector<named_register_t> take() { return std::move(registers_); }

  private:
    std::vector<named_register_t> registers_;
};

void add_unit(list_t& list) {
    namespace regs = io::control_regs;
    list.add("unit.fpga_id", 0, "r");
    list.add("unit.enables", regs::enables, "rw");
    list.add("unit.command", regs::command, "w");
    list.add("unit.status", regs::status, "r");
    list.add("unit.alert", regs::alert, "rw");
    list.add("unit.pulse", regs::pulse, "w");
    list.add("unit.level", regs::level, "rw");
}

void add_front_panel(list_t& list) {
    list.add("front_panel.control", io::front_panel_regs::control, "rw");
    list.add_spi("front_panel.spi", io::front_panel_regs::spi);
}

void add_fans_and_lamps(list_t& list) {
    namespace regs = io::control_regs;
    for (const auto i : {std::size_t{0}, std::size_t{1}}) {
        list.add("fan.drive" + std::to_string(i), regs::fan_drive[i], "w");
        list.add("fan.tachometer" + std::to_string(i), regs::fan_tachometer[i], "r");
    }
    for (const auto i : {std::size_t{0}, std::size_t{1}}) {
        list.add("lamp.brightness" + std::to_string(i), regs::lamp_brightness[i], "w");
    }
    list.add_spi("controller.spi", regs::controller_block);
}

void add_page_station(list_t& list) {
    namespace regs = io::page_station_regs;
    constexpr auto block = regs::block_offset;
    list.add("page_station.control", block + regs::control, "rw");
    list.add("page_station.status", block + regs::status, "rw");
    list.add("page_station.input", block + regs::input, "r");
    list.add("page_station.keypad_lines", block + regs::keypad_lines, "rw");
    list.add_spi("page_station.spi", block + regs::spi_controller);
    list.add("page_station.lcd_command", block + regs::lcd_command_port, "w", true);
    list.add("page_station.lcd_data", block + regs::lcd_data_port, "w", true);
}

void add_shared_region(list_t& list) {
    namespace panel = io::front_panel_regs;
    list.add_shared("shared", 0);
    list.add_shared("shared.area_b", 0x1E000);
    list.add_shared("shared.area_c", area_c);
    list.add_shared("shared.slot_channel_states", area_c + panel::slot_channel_states);
    list.add_shared_words("shared.front_panel_word", area_c + panel_words, 2);
    list.add_shared_words("shared.button_releases", area_c + panel::button_releases, 3);
    list.add_shared_words("shared.button_presses", area_c + panel::button_presses, 3);
    list.add_shared("shared.controller_status", area_c + io::control_regs::shared_status);
    list.add_shared("shared.platform_id", 0x419C8);
    list.add_shared("shared.slot_count", 0x419CC);
    list.add_shared("shared.temperature", area_c + io::control_regs::shared_temperature);
}

std::optional<std::uint32_t> number(std::string_view text) {
    const bool is_hex = text.starts_with("0x") || text.starts_with("0X");
    text.remove_prefix(is_hex ? 2 : 0);
    std::uint32_t value = 0;
    const auto* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value, is_hex ? 16 : 10);
    return error == std::errc{} && stop == end ? std::optional{value} : std::nullopt;
}

}  // namespace

const std::vector<named_register_t>& named_registers() {
    static const auto registers = [] {
        list_t list;
        add_unit(list);
        add_front_panel(list);
        add_fans_and_lamps(list);
        add_page_station(list);
        add_shared_region(list);
        return list.take();
    }();
    return registers;
}

std::optional<register_t> find_register(std::string_view text) {
    const auto plus = text.find('+');
    const auto base = text.substr(0, plus);
    const auto further = plus == std::string_view::npos ? std::optional{0U} : number(text.substr(plus + 1));
    const auto& all = named_registers();
    const auto named = std::ranges::find(all, base, &named_register_t::name);
    register_t place;
    if (named != all.end()) {
        place = named->place;
    } else if (const auto offset = number(base)) {
        place.offset = *offset;
    } else {
        return std::nullopt;
    }
    if (!further) {
        return std::nullopt;
    }
    place.offset += *further;
    const bool has_wrapped = place.offset < *further;
    return has_wrapped ? std::nullopt : std::optional{place};
}

std::string_view name_of(const register_t& place) {
    const auto& all = named_registers();
    const auto named = std::ranges::find_if(all, [&](const named_register_t& entry) {
        return entry.place.in_shared_region == place.in_shared_region && entry.place.offset == place.offset;
    });
    return named == all.end() ? std::string_view{} : named->name;
}

}  // namespace tools::unitctl
