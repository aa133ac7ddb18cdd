#include "io/mmio.h"
#include "io/platform_tables.h"
#include "io/system.h"
#include "sim/board/board.h"
#include "sim/peers/engine.h"
#include "tests/io/driver_test.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace std::chrono_literals;
using io::system_t;

/// What the shared region tells the other programs of the unit.
std::pair<std::uint32_t, std::uint32_t> announced() {
    return {io::mmio::read32(system_t::shared_base() + 0x419C8),
            io::mmio::read32(system_t::shared_base() + 0x419CC)};
}

/// What the kernel tells of this process's mapping of a device; empty when it has none.
std::string mapping_of(const std::string& device) {
    std::ifstream maps{"/proc/self/maps"};
    std::string line;
    while (std::getline(maps, line) && !line.ends_with(device)) {
        line.clear();
    }
    return line;
}

/// Every kind of unit, the boards of other FPGAs, and those that the engine or the part number tell apart.
std::vector<sim::unit_definition_t> units() {
    const auto kinds = sim::unit_definitions();
    std::vector all(kinds.begin(), kinds.end());
    const auto add = [&all](const char* kind, const sim::unit_expectation_t& expected) -> auto& {
        all.push_back(*sim::find_unit(kind));
        all.back().expected = expected;
        return all.back();
    };
    add("base-unit", {3, 1, "Amp Model A"}).fpga_id = 0xDEADF00D;
    add("base-unit", {5, 1, "Base Unit"}).fpga_id = 0xBA5EBA11;
    add("base-unit", {6, 4, "Card Frame"}).fpga_id = 0xB01DFACE;
    add("base-unit", {13, 8, "Base Unit"}).fpga_id = 0xCAB005E5;
    add("base-unit", {16, 1, "Base Unit"}).fpga_id = 0x0DDBA115;
    add("base-unit", {18, 2, "Base Unit"}).fpga_id = 0x5EAF00D5;
    using row_t = std::pair<const char*, sim::unit_expectation_t>;
    for (const auto& [platform, expected] : {row_t{"frame8", {2, 8, "Card Frame"}},
                                             {"frame2", {6, 8, "Card Frame"}},
                                             {"ampb", {10, 3, "Amp Model B"}},
                                             {"expc", {12, 1, "Expander Model C"}},
                                             {"ampc", {17, 2, "Amp Model C"}},
                                             {"base", {0, 0, "Unrecognized"}}}) {
        add("container", expected).properties.platform = platform;
    }
    add("omap-io", {12, 1, "Expander Model C"}).properties.platform = "expc";
    add("omap-io", {17, 2, "Amp Model C"}).properties.platform = "ampc";
    add("omap-io", {10, 3, "Amp Model B"}).properties.platform = "ampb";
    add("virtual-node", {0, 7, "Unrecognized"}).properties.part_number = "VN-7";
    add("studio", {15, 2, "Studio Unit"}).properties.part_number = "SU-2D";
    add("studio", {15, 7, "Studio Unit"}).properties.part_number = "SU-7";
    add("studio", {15, 7, "Studio Unit"}).properties.part_number = "SU-7D";
    return all;
}

class system_of : public testing::TestWithParam<std::size_t> {};

TEST_P(system_of, settles_platform_and_slots_and_announces_them) {
    const auto definition = units().at(GetParam());
    const tests::checked_unit_t unit{definition};
    sim::engine_t engine;
    engine.set("/sys/config/platform", std::string{definition.properties.platform});
    ASSERT_TRUE(engine.start());
    const system_t hardware;
    const auto& expected = definition.expected;
    EXPECT_EQ(system_t::platform_id(), expected.platform_id);
    EXPECT_EQ(system_t::slot_count(), expected.slot_count);
    EXPECT_TRUE(unit.log.has("[trace] IO system -- Platform: " + std::string{expected.platform_name} + '\n'));
    EXPECT_EQ(system_t::ready(), definition.fpga_id.has_value());
    EXPECT_EQ(system_t::fpga_id(), definition.fpga_id.value_or(0));
    EXPECT_EQ(system_t::shared_base() != nullptr,
              definition.fpga_id.has_value() || definition.in_container || definition.under_hypervisor);
    for (const auto& entry : std::filesystem::directory_iterator{"/proc/self/fd"}) {
        std::error_code gone;
        if (std::filesystem::read_symlink(entry, gone).string().starts_with(unit.root.path())) {
            EXPECT_EQ(::fcntl(std::stoi(entry.path().filename()), F_GETFD), FD_CLOEXEC) << entry;
        }
    }
    if (system_t::shared_base() != nullptr) {
        EXPECT_EQ(announced(), (std::pair{expected.platform_id, expected.slot_count}));
        io::mmio::write32(system_t::shared_area_c(), 7);
        const system_t second;
        EXPECT_EQ(io::mmio::read32(system_t::shared_area_c()), 7U) << "shared by all drivers";
    }
}

INSTANTIATE_TEST_SUITE_P(every_unit, system_of, testing::Range(std::size_t{0}, units().size()),
                         [](const auto& test) {
                             std::string name{units()[test.param].name};
                             std::ranges::replace(name, '-', '_');
                             return name + '_' + std::to_string(test.param);
                         });

TEST(system, holds_the_registers_of_the_first_generation_mapped) {
    const tests::checked_unit_t unit{"omap-io"};
    sim::engine_t engine;
    engine.stay_silent(true);
    ASSERT_TRUE(engine.start());
    const auto begun = std::chrono::steady_clock::now();
    const system_t hardware;
    const auto waited = std::chrono::steady_clock::now() - begun;
    EXPECT_TRUE(waited > 900ms && waited < 5s) << "an answer has one second";
    EXPECT_EQ(system_t::platform_id(), 10U);
    const auto line = mapping_of("/dev/omap_io");
    std::size_t dash = 0;
    const auto begin = std::stoull(line, &dash, 16);
    const auto end = std::stoull(line.substr(dash + 1), nullptr, 16);
    EXPECT_EQ(end - begin, 0x5000U) << "18200 bytes in pages";
}

TEST(system, the_last_of_several_objects_closes_the_device) {
    const tests::checked_unit_t unit{"card-frame"};
    const int lowest_free = ::dup(STDIN_FILENO);
    ::close(lowest_free);
    auto first = std::make_unique<system_t>();
    auto second = std::make_unique<system_t>();
    EXPECT_EQ(unit.log.count("system_t::system_t() called!"), 2);
    EXPECT_EQ(unit.log.count("IO system -- FPGA ID: 0xabcdef01\n"), 1) << "neither opened nor mapped again";
    EXPECT_TRUE(unit.log.has("IO system -- slot count: 4\n"));
    EXPECT_EQ(system_t::shared_area_b(), system_t::shared_base() + 0x1E000);
    EXPECT_EQ(system_t::shared_area_c(), system_t::shared_base() + 0x3C000);
    first.reset();
    EXPECT_TRUE(system_t::ready());
    EXPECT_NE(mapping_of("/dev/io"), "");
    second.reset();
    EXPECT_TRUE(system_t::fpga_base() == nullptr && system_t::shared_area_c() == nullptr);
    EXPECT_EQ(mapping_of("/dev/io"), "");
    EXPECT_EQ(::dup(STDIN_FILENO), lowest_free) << "its descriptor is given back";
    EXPECT_TRUE(unit.log.has("unmapped IO FPGA region\n") && unit.log.has("closed IO driver\n"));
    EXPECT_TRUE(unit.log.has("unmapped DMA buffer and IO shared data region\n"));
}

TEST(system, an_unknown_fpga_keeps_the_slots_of_the_platform_held_if_any) {
    {
        const tests::checked_unit_t unknown{"unknown-fpga"};
        const system_t hardware;
        EXPECT_TRUE(unknown.log.has("[error] unrecognized platform ID: 0\n"));
        EXPECT_STREQ(system_t::platform_display_name(io::platform_tables::display_names.size()),
                     "Unrecognized");
    }
    tests::checked_unit_t unit{"large-base-unit"};
    std::make_unique<system_t>().reset();
    auto definition = unit.root.definition();
    definition.fpga_id = 0x12345678;
    sim::set_fpga(sim::build_board(definition));
    const system_t hardware;
    EXPECT_TRUE(unit.log.has("[error] unrecognized FPGA ID: 0x12345678\n"));
    EXPECT_FALSE(unit.log.has("unrecognized platform ID"));
    EXPECT_EQ(system_t::slot_count(), 8U);
}

TEST(system, a_missing_driver_is_told_and_counted) {
    const tests::checked_unit_t unit{"no-driver"};
    auto first = std::make_unique<system_t>();
    EXPECT_TRUE(unit.log.has("[error] unable to open IO driver, errno: 2\n"));
    unit.root.make_sparse_file("/dev/io", 0x100'0000);
    const system_t second;
    EXPECT_TRUE(system_t::ready()) << "the driver has come";
    first.reset();
    EXPECT_TRUE(system_t::ready()) << "the failed one was counted as well";
}

TEST(system, a_driver_too_short_for_the_registers_still_gives_the_shared_region_and_a_pipe_gives_nothing) {
    const tests::checked_unit_t unit{"base-unit"};
    unit.root.make_sparse_file("/dev/io", 0x80'0000);
    {
        const system_t hardware;
        EXPECT_TRUE(unit.log.has("[error] failed to map IO FPGA region, errno: 22\n"));
        EXPECT_FALSE(system_t::ready());
        ASSERT_NE(system_t::shared_base(), nullptr);
        EXPECT_EQ(announced(), (std::pair{0U, 0U}));
    }
    unit.root.remove_file("/dev/io");
    ASSERT_EQ(::mkfifo(unit.root.file("/dev/io").c_str(), 0600), 0);
    const system_t hardware;
    EXPECT_TRUE(unit.log.has("failed to map IO FPGA region, errno: 19\n"));
    EXPECT_TRUE(unit.log.has("failed to map DMA buffer and IO shared memory region, errno: 19\n"));
    EXPECT_TRUE(!system_t::ready() && system_t::shared_area_c() == nullptr);
}

}  // namespace
