#include "io/lcd/lcd_bus.h"

#include <algorithm>
#include <array>

namespace io {

namespace {

// Filled before main, by whichever panel's object is made first.
constinit std::array<const lcd_bus_t*, 2> buses{};

const lcd_bus_t* bus_in_use() {
    const auto* const found =
        std::ranges::find_if(buses, [](const auto* bus) { return bus != nullptr && bus->is_in_use(); });
    return found == buses.end() ? nullptr : *found;
}

}  // namespace

void add_lcd_bus(const lcd_bus_t& bus) {
    const auto place =
        std::ranges::find_if(buses, [&bus](const auto* taken) { return taken == nullptr || taken == &bus; });
    if (place != buses.end()) {
        *place = &bus;
    }
}

bool lcd_write(bool is_data, std::uint8_t byte) {
    const auto* const bus = bus_in_use();
    return bus != nullptr && bus->write(is_data, byte);
}

bool lcd_write_word(std::uint16_t word) {
    const auto* const bus = bus_in_use();
    return bus != nullptr && bus->write_word(word);
}

}  // namespace io
