#include "io/mmio.h"
#include "io/system.h"
#include "sim/engine.h"
#include "tests/io/bench_unit.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <utility>

namespace sim {

static void PrintTo(const unit_definition_t& unit, std::ostream* out) {
    *out << unit.name;
}

}  // namespace sim

namespace {

using io::system_t;

/// What the shared region tells the other programs of the unit.
std::pair<std::uint32_t, std::uint32_t> announced() {
    return {io::mmio::read32(system_t::shared_base() + 0x419C8),
            io::mmio::read32(system_t::shared_base() + 0x419CC)};
}

/// A unit with its property engine.
class system_of : public testing::TestWithParam<sim::unit_definition_t> {
  protected:
    system_of() {
        engine_.set("/sys/config/platform", std::string{GetParam().properties.platform});
        EXPECT_TRUE(engine_.start());
    }

    tests::bench_unit_t unit_{GetParam()};
    sim::engine_t engine_;
};

TEST_P(system_of, settles_platform_and_slots) {
    const auto& expected = GetParam().expected;
    const system_t hardware;
    EXPECT_EQ(system_t::platform_id(), expected.platform_id);
    EXPECT_EQ(system_t::slot_count(), expected.slot_count);
    EXPECT_TRUE(
        unit_.log.has("[trace] IO system -- Platform: " + std::string{expected.platform_name} + '\n'));
    EXPECT_EQ(system_t::ready(), GetParam().fpga_id.has_value());
    if (system_t::shared_base() != nullptr) {
        EXPECT_EQ(announced(), (std::pair{expected.platform_id, expected.slot_count}));
    }
    EXPECT_EQ(sim::violations(), "");
}

std::string test_name(const testing::TestParamInfo<sim::unit_definition_t>& unit) {
    std::string name{unit.param.name};
    std::ranges::replace(name, '-', '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(every_unit, system_of, testing::ValuesIn(sim::unit_definitions()), test_name);

TEST(system, knows_every_board_by_its_fpga) {
    struct board_t {
        std::uint32_t fpga_id, platform_id, slot_count;
        const char* name;
    };
    tests::bench_unit_t unit{"base-unit"};
    for (const auto& board :
         {board_t{0xDEADF00D, 3, 1, "Amp Model A"}, board_t{0xBA5EBA11, 5, 1, "Base Unit"},
          board_t{0xB01DFACE, 6, 4, "Card Frame"}, board_t{0xCAB005E5, 13, 8, "Base Unit"},
          board_t{0x0DDBA115, 16, 1, "Base Unit"}, board_t{0x5EAF00D5, 18, 2, "Base Unit"}}) {
        auto definition = unit.root.definition();
        definition.fpga_id = board.fpga_id;
        sim::set_fpga(sim::build_board(definition));
        const system_t hardware;
        EXPECT_EQ(system_t::fpga_id(), board.fpga_id);
        EXPECT_EQ(system_t::platform_id(), board.platform_id);
        EXPECT_EQ(system_t::slot_count(), board.slot_count);
        EXPECT_STREQ(system_t::platform_display_name(system_t::platform_id()), board.name);
    }
    EXPECT_STREQ(system_t::platform_display_name(19), "Unrecognized");
    EXPECT_STREQ(system_t::platform_display_name(0xFFFF'FFFF), "Unrecognized");
}

TEST(system, the_last_of_several_objects_closes_the_device) {
    tests::bench_unit_t unit{"card-frame"};
    auto first = std::make_unique<system_t>();
    const auto at_first = unit.log.text();
    auto second = std::make_unique<system_t>();
    const auto at_second = unit.log.text().substr(at_first.size());
    EXPECT_NE(at_second.find("system_t::system_t() called!"), std::string::npos);
    EXPECT_EQ(at_second.find("FPGA ID"), std::string::npos) << "neither opened nor mapped again";
    EXPECT_TRUE(unit.log.has("IO system -- FPGA ID: 0xabcdef01\n"));
    EXPECT_TRUE(unit.log.has("IO system -- slot count: 4\n"));
    EXPECT_EQ(system_t::shared_area_b(), system_t::shared_base() + 0x1E000);
    EXPECT_EQ(system_t::shared_area_c(), system_t::shared_base() + 0x3C000);

    first.reset();
    EXPECT_TRUE(system_t::ready());
    second.reset();
    EXPECT_FALSE(system_t::ready());
    EXPECT_EQ(system_t::shared_area_c(), nullptr);
    EXPECT_TRUE(unit.log.has("unmapped IO FPGA region\n"));
    EXPECT_TRUE(unit.log.has("unmapped DMA buffer and IO shared data region\n"));
    EXPECT_TRUE(unit.log.has("closed IO driver\n"));
}

TEST(system, an_unknown_fpga_keeps_the_slots_of_the_platform_held) {
    tests::bench_unit_t unit{"large-base-unit"};
    std::make_unique<system_t>().reset();
    auto definition = unit.root.definition();
    definition.fpga_id = 0x12345678;
    sim::set_fpga(sim::build_board(definition));
    const system_t hardware;
    EXPECT_TRUE(unit.log.has("[error] unrecognized FPGA ID: 0x12345678\n"));
    EXPECT_FALSE(unit.log.has("unrecognized platform ID"));
    EXPECT_EQ(system_t::slot_count(), 8U);
}

TEST(system, an_unknown_fpga_on_an_unknown_platform_settles_nothing) {
    tests::bench_unit_t unit{"unknown-fpga"};
    const system_t hardware;
    EXPECT_TRUE(unit.log.has("[error] unrecognized FPGA ID: 0x12345678\n"));
    EXPECT_TRUE(unit.log.has("[error] unrecognized platform ID: 0\n"));
    EXPECT_TRUE(unit.log.has("IO system -- slot count: 0\n"));
}

TEST(system, a_missing_driver_is_told_and_counted) {
    tests::bench_unit_t unit{"no-driver"};
    auto first = std::make_unique<system_t>();
    EXPECT_TRUE(unit.log.has("[error] unable to open IO driver, errno: 2\n"));
    unit.root.make_sparse_file("/dev/io", 0x100'0000);
    const auto second = std::make_unique<system_t>();
    EXPECT_TRUE(system_t::ready()) << "the driver has come";
    first.reset();
    EXPECT_TRUE(system_t::ready()) << "the failed one was counted as well";
}

TEST(system, a_driver_too_short_for_the_registers_still_gives_the_shared_region) {
    tests::bench_unit_t unit{"base-unit"};
    unit.root.make_sparse_file("/dev/io", 0x80'0000);
    const system_t hardware;
    EXPECT_TRUE(unit.log.has("[error] failed to map IO FPGA region, errno: 22\n"));
    EXPECT_FALSE(system_t::ready());
    ASSERT_NE(system_t::shared_base(), nullptr);
    EXPECT_EQ(announced(), (std::pair{0U, 0U}));
}

TEST(system, a_driver_that_maps_nothing_is_told_twice) {
    tests::bench_unit_t unit{"base-unit"};
    unit.root.remove_file("/dev/io");
    ASSERT_EQ(::mkfifo(unit.root.file("/dev/io").c_str(), 0600), 0);
    const system_t hardware;
    EXPECT_TRUE(unit.log.has("failed to map IO FPGA region, errno: 19\n"));
    EXPECT_TRUE(unit.log.has("failed to map DMA buffer and IO shared memory region, errno: 19\n"));
    EXPECT_FALSE(system_t::ready());
    EXPECT_EQ(system_t::shared_area_c(), nullptr);
}

TEST(system, an_emulated_unit_stands_in_for_the_shared_region_only) {
    auto definition = *sim::find_unit("container");
    definition.properties.platform = "frame8";
    tests::bench_unit_t unit{definition};
    const system_t first;
    EXPECT_EQ(announced(), (std::pair{2U, 8U}));
    EXPECT_FALSE(system_t::ready());
    EXPECT_EQ(system_t::fpga_base(), nullptr);
    io::mmio::write32(system_t::shared_area_c(), 7);
    const system_t second;
    EXPECT_EQ(io::mmio::read32(system_t::shared_area_c()), 7U) << "shared by all drivers";
}

/// The branches that go by the engine's answer or the part number; without an answer there is no engine.
void expect_settled(std::string_view name, std::string_view part_number, std::optional<const char*> answer,
                    std::uint32_t platform_id, std::uint32_t slot_count) {
    auto definition = *sim::find_unit(name);
    definition.properties.part_number = part_number;
    tests::bench_unit_t unit{definition};
    sim::engine_t engine;
    if (answer) {
        engine.set("/sys/config/platform", *answer);
        ASSERT_TRUE(engine.start());
    }
    const system_t hardware;
    EXPECT_EQ(system_t::platform_id(), platform_id) << name;
    EXPECT_EQ(system_t::slot_count(), slot_count) << name;
}

TEST(system, first_generation_units_are_told_apart_by_the_engine) {
    expect_settled("omap-io", "EC-1", "expc", 12, 1);
    expect_settled("omap-io", "AC-2", "ampc", 17, 2);
    expect_settled("omap-io", "AB-3", std::nullopt, 10, 3);
}

TEST(system, large_studio_units_and_virtual_nodes_have_seven_slots) {
    expect_settled("virtual-node", "VN-7", "vnode", 0, 7);
    expect_settled("studio", "SU-7", std::nullopt, 15, 7);
}

static_assert(sizeof(system_t) == sizeof(void*));

}  // namespace
