#include "io/spi.h"
#include "io/system.h"
#include "sim/spi_controller.h"
#include "tests/io/bench_unit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <vector>

namespace {

using sim::bus_access_t;
using kind_e = bus_access_t::kind_e;

constexpr std::uint32_t block = 0x18'0000;  // nothing else is there

/// Remembers what it was sent and answers with what it was told.
class scripted_peer_t : public sim::spi_peer_t {
  public:
    sim::spi_bits_t exchange(const sim::spi_bits_t& bits, std::uint32_t rate, unsigned spi_mode) override {
        sent = bits;
        bit_rate = rate;
        mode = spi_mode;
        sim::spi_bits_t answer{bits.size()};
        for (unsigned i = 0; i < bits.size(); ++i) {
            answer.set(i, std::ranges::find(ones, i) != ones.end());
        }
        return answer;
    }

    std::vector<unsigned> ones;  ///< positions in the answer
    sim::spi_bits_t sent;
    std::uint32_t bit_rate = 0;
    unsigned mode = 0;
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

    /// The accesses so far, with offsets from the controller's block.
    static std::vector<bus_access_t> accesses() {
        auto all = sim::fpga()->recorded();
        for (auto& access : all) {
            access.offset -= block;
        }
        return all;
    }

    std::string console_of_a_failing_transfer() {
        testing::internal::CaptureStdout();
        EXPECT_FALSE(master_.transfer(true));
        return testing::internal::GetCapturedStdout();
    }

    tests::bench_unit_t unit_{"base-unit"};
    io::system_t hardware_;
    scripted_peer_t peer_;
    std::shared_ptr<sim::spi_controller_t> controller_ = std::make_shared<sim::spi_controller_t>(peer_);
    io::spi_t master_;
};

TEST_F(spi, a_transfer_is_prepared_set_up_started_and_polled_with_no_access_too_many) {
    master_.transmit = {0x8024, 0x4000};
    master_.mode = 2;
    master_.option_a = 1;
    master_.option_b = 1;
    peer_.ones = {0, 17};
    ASSERT_TRUE(master_.transfer(true));
    const std::vector<bus_access_t> expected{
        {kind_e::read32, 0x00, 0},       {kind_e::write32, 0x40, 0x8024}, {kind_e::write32, 0x44, 0x4000},
        {kind_e::write32, 0x0C, 2},      {kind_e::write32, 0x00, 0x62},   {kind_e::write32, 0x04, 1843},
        {kind_e::write32, 0x08, 17},     {kind_e::write32, 0x0C, 1},      {kind_e::read32, 0x00, 1U << 2},
        {kind_e::read32, 0x00, 1U << 4}, {kind_e::read32, 0x80, 0x8000},  {kind_e::read32, 0x84, 0x4000},
    };
    EXPECT_EQ(accesses(), expected);
    EXPECT_EQ(sim::violations(), "");
}

TEST_F(spi, forty_nine_bits_take_four_words_each_way_first_word_first) {
    master_.bit_count = 49;
    master_.bit_rate = 10'000'000;
    master_.mode = 3;
    master_.transmit = {0x1234, 0x5678, 0x9ABC, 0x8000};
    peer_.ones = {15, 16, 48};
    ASSERT_TRUE(master_.transfer(true));
    EXPECT_EQ(peer_.sent.size(), 49U);
    EXPECT_EQ(peer_.sent.number(0, 32), 0x12345678U);
    EXPECT_EQ(peer_.sent.number(32, 17), 0x9ABCU << 1 | 1U);
    EXPECT_EQ(peer_.mode, 3U);
    EXPECT_NEAR(peer_.bit_rate, 10e6, 10e3);
    EXPECT_EQ(master_.receive[0], 1);
    EXPECT_EQ(master_.receive[1], 0x8000);
    EXPECT_EQ(master_.receive[3], 0x8000);

    master_.receive.fill(0xEEEE);
    ASSERT_TRUE(master_.transfer(false));
    EXPECT_EQ(master_.receive[0], 0xEEEE) << "asked not to read";
    EXPECT_EQ(sim::violations(), "");
}

TEST_F(spi, bad_parameters_are_refused_before_anything_is_started) {
    struct case_t {
        std::uint32_t mode, bit_rate, bit_count;
        const char* line;
    };
    // A mode that is wrong is told first, then the rate, then the length.
    for (const auto& bad : {case_t{4, 0, 0, "invalid SPI mode\n"}, case_t{0, 0, 0, "invalid SPI bit rate\n"},
                            case_t{0, 16'276, 18, "invalid SPI bit rate\n"},
                            case_t{0, 33'400'000, 18, "invalid SPI bit rate\n"},
                            case_t{3, 16'277, 0, "invalid SPI bit size\n"}}) {
        master_.mode = bad.mode;
        master_.bit_rate = bad.bit_rate;
        master_.bit_count = bad.bit_count;
        sim::fpga()->forget_recorded();
        EXPECT_EQ(console_of_a_failing_transfer(), bad.line);
        EXPECT_EQ(accesses().size(), 1 + (bad.bit_count + 15) / 16) << "the status read and the words";
    }
    master_.mode = 0;
    master_.bit_count = 18;
    for (const auto good : {16'277U, 33'000'000U}) {
        master_.bit_rate = good;
        EXPECT_TRUE(master_.transfer(false)) << good;
    }
    EXPECT_EQ(sim::violations(), "");
}

TEST_F(spi, a_busy_controller_is_left_alone) {
    controller_->set_fault(sim::spi_fault_e::busy_for_ever);
    EXPECT_EQ(console_of_a_failing_transfer(), "SPI controller busy\n");
    const std::vector<bus_access_t> expected{{kind_e::read32, 0x00, 1U << 2}};
    EXPECT_EQ(accesses(), expected);
}

TEST_F(spi, a_controller_that_is_never_done_costs_a_hundred_thousand_status_reads) {
    controller_->set_fault(sim::spi_fault_e::never_done, 1);
    EXPECT_TRUE(master_.transfer(true)) << "one goes well";
    master_.receive.fill(0xEEEE);
    sim::fpga()->forget_recorded();
    EXPECT_EQ(console_of_a_failing_transfer(), "SPI transfer timed out\n");
    const auto reads = std::ranges::count(accesses(), kind_e::read32, &bus_access_t::kind);
    EXPECT_EQ(reads, 1 + 100'000) << "with the one that asks for busy";
    EXPECT_EQ(master_.receive[0], 0xEEEE);
}

TEST_F(spi, a_transfer_of_more_than_256_bits_keeps_to_the_sixteen_words) {
    master_.bit_count = 300;
    ASSERT_TRUE(master_.transfer(true));
    EXPECT_EQ(peer_.sent.size(), 44U) << "the low eight bits of 299, plus one";
    EXPECT_EQ(std::ranges::count(accesses(), kind_e::write32, &bus_access_t::kind), 16 + 5);
    EXPECT_EQ(sim::violations(), "") << "nothing beyond the data registers";
}

TEST(spi_without_base, is_refused) {
    io::spi_t master;
    testing::internal::CaptureStdout();
    EXPECT_FALSE(master.set_base(nullptr));
    EXPECT_FALSE(master.transfer(false));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "invalid SPI controller base address\ninvalid SPI controller base address\n");
}

}  // namespace
