// What the programming of the keypad controller costs: accesses to the line register, and time on the
// simulated controller, which answers at once. A real one adds its own erase and programming times.

#include "io/keypad/issp.h"
#include "io/keypad/keypad_update.h"
#include "io/page_station/page_station.h"
#include "platform/paths.h"
#include "sim/board/bench_unit.h"
#include "sim/board/fpga.h"
#include "sim/board/keypad_setup.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

struct cost_t {
    std::uint64_t accesses = 0;
    double milliseconds = 0;
};

/// One check of the controller against the image, and its programming where needed.
cost_t update(const sim::bench_unit_t& unit, sim::keypad_setup_e setup, unsigned blocks_to_program) {
    using clock_t = std::chrono::steady_clock;
    const auto& state = sim::set_up_keypad(unit.root, setup);
    const auto accesses = sim::fpga()->access_count();
    const auto start = clock_t::now();
    const bool done = io::update_keypad_firmware(zel::paths::keypad_firmware);
    const std::chrono::duration<double, std::milli> time = clock_t::now() - start;
    if (!done || state.chip.blocks_programmed != blocks_to_program) {
        std::fprintf(stderr, "the update did not go as expected\n");
        std::exit(1);
    }
    return {sim::fpga()->access_count() - accesses, time.count()};
}

void show(const char* what, const cost_t& cost) {
    std::printf("%-34s %9llu accesses %9.2f ms\n", what, static_cast<unsigned long long>(cost.accesses),
                cost.milliseconds);
}

}  // namespace

int main() {
    const sim::bench_unit_t unit{"page-station"};
    auto& lines = io::keypad_lines();
    if (!io::page_station().init(false) || !io::page_station().set_keypad_run(true)) {
        return 1;
    }
    lines.programming_on();
    const auto checking = update(unit, sim::keypad_setup_e::up_to_date, 0);
    const auto programming = update(unit, sim::keypad_setup_e::blank, 64);

    io::issp_t issp{lines};
    constexpr std::array<std::uint8_t, 125> bits{};
    const auto before = sim::fpga()->access_count();
    for (const auto byte : bits) {
        issp.SendByte(byte, 8);
    }
    const auto per_bit =
        static_cast<double>(sim::fpga()->access_count() - before) / static_cast<double>(8 * bits.size());

    show("check, controller up to date", checking);
    show("check and whole reprogramming", programming);
    std::printf("%-34s %9.2f writes\n", "per bit on the wire", per_bit);
    std::printf("%-34s %9.2f accesses\n", "per bit of the 8 KiB image",
                static_cast<double>(programming.accesses) / (8.0 * 8192));
}
