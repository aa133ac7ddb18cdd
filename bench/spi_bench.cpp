#include "io/mmio.h"
#include "io/spi.h"
#include "sim/board/fpga.h"
#include "sim/board/spi_controller.h"
#include "sim/root/unit_root.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <memory>
#include <utility>

// What a transfer costs: bus accesses, which a unit pays for at the speed of its bus, and the time of driver
// and simulated controller together. The controller is done at the first status read, so the accesses are the
// fewest there can be: one status read, the words, five writes, one status read, and the words that come
// back.

namespace {

constexpr std::size_t region_length = 0x100'0000;
constexpr std::uint32_t block = 0xC'0100;

class silent_peer_t : public sim::spi_peer_t {
  public:
    sim::spi_bits_t exchange(const sim::spi_bits_t& sent, std::uint32_t /*bit_rate*/,
                             unsigned /*mode*/) override {
        return sim::spi_bits_t{sent.size()};
    }
};

/// A unit whose board has nothing but the controller.
struct bench_t {
    bench_t() {
        controller->link().busy_reads = 0;
        auto board = std::make_unique<sim::fpga_t>();
        board->plug(block, sim::spi_controller_t::block_length, controller);
        sim::set_fpga(std::move(board));
        device = ::open(root.file("/dev/io").c_str(), O_RDWR | O_CLOEXEC);
        registers = io::mmio::map(device, region_length, 0);
        spi.set_base(registers + block);
    }
    bench_t(const bench_t&) = delete;
    bench_t& operator=(const bench_t&) = delete;
    ~bench_t() {
        io::mmio::unmap(registers, region_length);
        ::close(device);
    }

    sim::unit_root_t root{*sim::find_unit("base-unit")};
    silent_peer_t peer;
    std::shared_ptr<sim::spi_controller_t> controller = std::make_shared<sim::spi_controller_t>(peer);
    int device = -1;
    std::byte* registers = nullptr;
    io::spi_t spi;
};

void spi_transfer(benchmark::State& state) {
    bench_t bench;
    auto& spi = bench.spi;
    spi.bit_count = static_cast<std::uint32_t>(state.range(0));
    spi.bit_rate = 30'000'000;
    const bool read = state.range(1) != 0;
    const auto before = sim::fpga()->access_count();
    for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores): the library's way to loop
        if (!spi.transfer(read)) {
            state.SkipWithError("transfer failed");
            break;
        }
    }
    state.counters["accesses"] = benchmark::Counter(static_cast<double>(sim::fpga()->access_count() - before),
                                                    benchmark::Counter::kAvgIterations);
}
BENCHMARK(spi_transfer)->ArgNames({"bits", "read"})->Args({18, 0})->Args({35, 0})->Args({12, 1});

}  // namespace
