#include "io/front_panel/front_panel.h"
#include "io/lcd/fonts.h"
#include "io/lcd/graphics.h"
#include "ipc/frame.h"
#include "sim/board/bench_unit.h"
#include "sim/board/fpga.h"
#include "sim/board/front_panel_block.h"
#include "sim/root/shared_state.h"
#include "tests/allocation_counter.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <string>

// What a row on the front panel costs: bus accesses, which a unit pays for at the speed of its bus; memory
// taken from the heap; and the time of the drawing layer alone, apart from the time with the simulated panel
// behind it. The SPI controller is done at the first status read, so the accesses are the fewest there can
// be: ten for a data word.

namespace {

constexpr const char* state_line = "Writing firmware";
constexpr const char* detail_line = "Flashing bank 2 of 5 (17%)";

/// A base unit whose front panel is up.
io::front_panel_t& panel() {
    static auto& up = []() -> io::front_panel_t& {
        static const sim::bench_unit_t unit{"base-unit"};
        sim::shared_state<sim::front_panel_state_t>("front_panel").link.busy_reads = 0;
        auto& made = io::front_panel();
        if (!made.initialise(true)) {
            std::abort();
        }
        made.clear_for_text();
        return made;
    }();
    return up;
}

/// Runs `draw` over and over and counts what it costs each time.
template <typename draw_t>
void count_per_draw(benchmark::State& state, draw_t draw) {
    draw();
    const auto accesses = sim::fpga()->access_count();
    const auto& glass = sim::shared_state<sim::front_panel_state_t>("front_panel").glass;
    const auto words = glass.groups_written;
    const auto taken = sim::allocations;
    for ([[maybe_unused]] auto _ : state) {
        draw();
    }
    const auto runs = static_cast<double>(state.iterations());
    const auto words_sent = static_cast<std::uint32_t>(glass.groups_written - words);
    state.counters["heap/draw"] = static_cast<double>(sim::allocations - taken) / runs;
    state.counters["accesses/draw"] = static_cast<double>(sim::fpga()->access_count() - accesses) / runs;
    state.counters["words/draw"] = words_sent / runs;
}

void draw_text_row(benchmark::State& state) {
    auto& lcd = panel();
    count_per_draw(state, [&] { lcd.draw_text_row(1, state_line, false); });
}
BENCHMARK(draw_text_row)->Unit(benchmark::kMicrosecond);

void draw_progress_row(benchmark::State& state) {
    auto& lcd = panel();
    int percent = 0;
    count_per_draw(state, [&] { lcd.draw_progress_row(2, percent++ % 101); });
}
BENCHMARK(draw_progress_row)->Unit(benchmark::kMicrosecond);

/// The three rows that a service pass draws.
void service_pass(benchmark::State& state) {
    auto& lcd = panel();
    count_per_draw(state, [&] {
        lcd.draw_text_row(1, state_line, false);
        lcd.draw_progress_row(2, 42);
        lcd.draw_text_row(3, detail_line, false);
    });
}
BENCHMARK(service_pass)->Unit(benchmark::kMicrosecond);

/// The same pixels in the drawing layer alone: an update that is never released.
void service_pass_without_bus(benchmark::State& state) {
    io::graphics_t lcd;
    lcd.begin_update();
    lcd.select_font(&io::text_font);
    const auto text_row = [&lcd](int row, const char* text) {
        lcd.fill_rect(0, 16 * row, 239, 16 * row + 15, io::graphics_t::paper);
        lcd.set_text_pos(0, row);
        lcd.draw_string(text);
    };
    const auto taken = sim::allocations;
    for ([[maybe_unused]] auto _ : state) {
        text_row(1, state_line);
        lcd.fill_rect(0, 32, 239, 47, io::graphics_t::paper);
        lcd.rect_outline(4, 34, 235, 46);
        lcd.fill_rect(7, 37, 101, 43, io::graphics_t::ink);
        text_row(3, detail_line);
        benchmark::DoNotOptimize(lcd.frame().line(40).data());
    }
    state.counters["heap/draw"] =
        static_cast<double>(sim::allocations - taken) / static_cast<double>(state.iterations());
}
BENCHMARK(service_pass_without_bus)->Unit(benchmark::kMicrosecond);

/// The longest detail text that a message can carry, drawn into the last row.
void longest_detail_without_bus(benchmark::State& state) {
    io::graphics_t lcd;
    lcd.begin_update();
    lcd.select_font(&io::text_font);
    const std::string text(zel::frame::max_texts, 'W');
    for ([[maybe_unused]] auto _ : state) {
        lcd.set_text_pos(0, 3);
        lcd.draw_string(text);
        benchmark::DoNotOptimize(lcd.frame().line(40).data());
    }
}
BENCHMARK(longest_detail_without_bus)->Unit(benchmark::kMicrosecond);

/// What one more word costs on the bus: the difference between two lines and one, over their 80 words.
void data_word(benchmark::State& state) {
    panel();
    const auto accesses_of = [](int lines) {
        const auto before = sim::fpga()->access_count();
        io::graphics().fill_rect(0, 0, 239, lines - 1, io::graphics_t::paper);
        return static_cast<double>(sim::fpga()->access_count() - before);
    };
    double per_word = 0;
    for ([[maybe_unused]] auto _ : state) {
        const auto one_line = accesses_of(1);
        per_word = (accesses_of(2) - one_line) / 80;
    }
    state.counters["accesses/word"] = per_word;
}
BENCHMARK(data_word)->Unit(benchmark::kMicrosecond);

}  // namespace
