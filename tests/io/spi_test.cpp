#include "io/spi.h"
#include "io/system.h"
#include "sim/board/spi_controller.h"
#include "tests/io/driver_test.h"

#include <algorithm>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

namespace {

using sim::bus_access_t;
using kind_e = bus_access_t::kind_e;
using accesses_t = std::vector<bus_access_t>;

constexpr std::uint32_t block = 0x18'0000;  // nothing else is there

/// Answers with the bits that it is sent, each turned round.
class peer_t : public sim::spi_peer_t {
  public:
    sim::spi_bits_t exchange(const sim::spi_bits_t& bits, std::uint32_t /*rate*/,
                             unsigned /*mode*/) override {
        sent = bits;
        sim::spi_bits_t answer{bits.size()};
        for (unsigned i = 0; i < bits.size(); ++i) {
            answer.set(i, !bits[i]);
        }
        return answer;
    }
    sim::spi_bits_t sent;
};

class spi : public testing::Test {
  protected:
    spi() {
        sim::fpga()->plug(block, sim::spi_controller_t::block_length, controller_);
        EXPECT_TRUE(master_.set_base(io::system_t::fpga_base() + block));
        master_.bit_count = 18;
        master_.bit_rate = 30'000'000;
        sim::fpga()->record(true);
    }

    /// The accesses since the last call, with offsets from the controller's block.
    static accesses_t accesses() {
        auto all = sim::fpga()->recorded();
        for (auto& access : all) {
            access.offset -= block;
        }
        sim::fpga()->forget_recorded();
        return all;
    }
    std::string refusal() {
        return tests::refusal_of([this] { return master_.transfer(true); });
    }

    tests::checked_unit_t unit_{"base-unit"};
    io::system_t hardware_;
    peer_t peer_;
    std::shared_ptr<sim::spi_controller_t> controller_ = std::make_shared<sim::spi_controller_t>(peer_);
    io::spi_t master_;
};

TEST_F(spi, a_transfer_is_prepared_set_up_started_and_polled_with_no_access_too_many) {
    master_.transmit = {0x8024, 0x4000};
    master_.mode = 2;
    master_.option_a = 1;
    master_.option_b = 1;
    ASSERT_TRUE(master_.transfer(true));
    const accesses_t expected{
        {kind_e::read32, 0x00, 0},       {kind_e::write32, 0x40, 0x8024}, {kind_e::write32, 0x44, 0x4000},
        {kind_e::write32, 0x0C, 2},      {kind_e::write32, 0x00, 0x62},   {kind_e::write32, 0x04, 1843},
        {kind_e::write32, 0x08, 17},     {kind_e::write32, 0x0C, 1},      {kind_e::read32, 0x00, 1U << 2},
        {kind_e::read32, 0x00, 1U << 4}, {kind_e::read32, 0x80, 0x7FDB},  {kind_e::read32, 0x84, 0x8000},
    };
    EXPECT_EQ(accesses(), expected);
    master_.option_b = 0;
    ASSERT_TRUE(master_.transfer(true));
    EXPECT_EQ(accesses().at(4), (bus_access_t{kind_e::write32, 0x00, 0x22}));
}

TEST_F(spi, many_words_go_first_word_first_and_no_more_than_the_sixteen_that_there_are) {
    master_.bit_count = 49;
    master_.transmit = {0x1234, 0x5678, 0x9ABC, 0x8000};
    ASSERT_TRUE(master_.transfer(true));
    EXPECT_EQ(peer_.sent.number(0, 32), 0x12345678U);
    EXPECT_EQ(peer_.sent.number(32, 17), 0x9ABCU << 1 | 1U);
    EXPECT_TRUE(
        std::ranges::equal(std::span{master_.receive}.first(4), std::array{0xEDCB, 0xA987, 0x6543, 0x0000}));
    master_.receive.fill(0xEEEE);
    ASSERT_TRUE(master_.transfer(false));
    EXPECT_EQ(master_.receive[0], 0xEEEE) << "asked not to read";

    master_.bit_count = 300;
    accesses();
    ASSERT_TRUE(master_.transfer(true));
    EXPECT_EQ(peer_.sent.size(), 44U) << "the low eight bits of 299, plus one";
    EXPECT_EQ(std::ranges::count(accesses(), kind_e::write32, &bus_access_t::kind), 16 + 5);
}

TEST_F(spi, bad_parameters_are_refused_before_anything_is_started) {
    using case_t = std::tuple<std::uint32_t, std::uint32_t, std::uint32_t, const char*>;
    // A mode that is wrong is told first, then the rate, then the length.
    for (const auto& [mode, rate, bits, what] :
         {case_t{4, 0, 0, "mode"}, case_t{0, 0, 0, "bit rate"}, case_t{0, 16'276, 18, "bit rate"},
          case_t{0, 33'400'000, 18, "bit rate"}, case_t{3, 16'277, 0, "bit size"}}) {
        master_.mode = mode;
        master_.bit_rate = rate;
        master_.bit_count = bits;
        EXPECT_EQ(refusal(), std::string{"invalid SPI "} + what + '\n');
        EXPECT_EQ(accesses().size(), 1 + (bits + 15) / 16) << "the status read and the words";
    }
    master_.bit_count = 18;
    for (const auto good : {16'277U, 33'000'000U, 34'000'000U}) {  // the last wraps around
        master_.bit_rate = good;
        EXPECT_TRUE(master_.transfer(false)) << good;
    }
}

TEST_F(spi, a_busy_controller_is_left_alone_and_one_that_is_never_done_costs_100000_status_reads) {
    controller_->set_fault(sim::spi_fault_e::busy_for_ever);
    EXPECT_EQ(refusal(), "SPI controller busy\n");
    EXPECT_EQ(accesses(), (accesses_t{{kind_e::read32, 0x00, 1U << 2}}));

    controller_->set_fault(sim::spi_fault_e::never_done, 1);
    EXPECT_TRUE(master_.transfer(true)) << "one goes well";
    master_.receive.fill(0xEEEE);
    accesses();
    EXPECT_EQ(refusal(), "SPI transfer timed out\n");
    EXPECT_EQ(std::ranges::count(accesses(), kind_e::read32, &bus_access_t::kind), 1 + 100'000)
        << "with the one that asks for busy";
    EXPECT_EQ(master_.receive[0], 0xEEEE);
}

}  // namespace
