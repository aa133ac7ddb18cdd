// Frames decoded per second, and what garbage ahead of a frame costs.

#include "ipc/frame.h"
#include "ipc/receive_buffer.h"

#include <benchmark/benchmark.h>

namespace {

const std::string& progress_frame() {
    static const auto& frame =
        *new std::string{zel::frame::encode({"changed", "/sys/fw_status/progress", "37"})};
    return frame;
}

// As the client does it: skip what starts no frame, decode, consume.
std::size_t take_frames(zel::receive_buffer_t& buffer) {
    std::size_t frames = 0;
    zel::frame::field_list_t fields;
    while (true) {
        buffer.consume(zel::frame::garbage_length(buffer.unread()));
        buffer.consume(zel::frame::decode(buffer.unread(), fields));
        if (fields.empty()) {
            return frames;
        }
        benchmark::DoNotOptimize(fields);
        ++frames;
    }
}

void decode_a_burst(benchmark::State& state) {
    std::string burst;
    for (std::int64_t i = 0; i < state.range(0); ++i) {
        burst += progress_frame();
    }
    zel::receive_buffer_t buffer;
    std::int64_t frames = 0;
    while (state.KeepRunning()) {
        buffer.storage() += burst;
        frames += static_cast<std::int64_t>(take_frames(buffer));
    }
    state.SetItemsProcessed(frames);
}
BENCHMARK(decode_a_burst)->Arg(1)->Arg(100)->Arg(10'000);

void garbage_ahead_of_a_frame(benchmark::State& state, const std::string& pattern) {
    const auto length = static_cast<std::size_t>(state.range(0));
    std::string stream;
    while (stream.size() < length) {
        stream += pattern;
    }
    stream.resize(length);
    stream += progress_frame();
    zel::receive_buffer_t buffer;
    while (state.KeepRunning()) {
        buffer.storage() += stream;
        if (take_frames(buffer) != 1) {
            state.SkipWithError("the frame behind the garbage was not found");
        }
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK_CAPTURE(garbage_ahead_of_a_frame, zeros, std::string(1, '\0'))
    ->RangeMultiplier(4)
    ->Range(4096, 262'144);
BENCHMARK_CAPTURE(garbage_ahead_of_a_frame, broken_frames, std::string{"ipc_magi"})
    ->RangeMultiplier(4)
    ->Range(4096, 262'144);

}  // namespace
