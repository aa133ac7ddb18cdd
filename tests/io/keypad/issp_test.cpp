#include "io/keypad/issp.h"
#include "io/mmio.h"
#include "io/system.h"
#include "sim/board/keypad_setup.h"
#include "tests/golden.h"
#include "tests/io/driver_test.h"

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

namespace {

std::string hex(std::span<const std::uint8_t> bytes) {
    std::string text;
    for (const unsigned byte : bytes) {
        constexpr const char* digits = "0123456789ABCDEF";
        text += {digits[byte >> 4], digits[byte & 0xF]};
    }
    return text;
}

TEST(issp_vectors, the_frames_add_up_to_the_published_bytes) {
    std::string vectors;
    for (const auto& vector : io::issp::table) {
        vectors += std::string{vector.role} + "\n  " + std::to_string(vector.length) + " bits " +
                   hex(vector.bytes) + '\n';
    }
    EXPECT_EQ(vectors, tests::golden_text("issp_vectors.txt", vectors));
}

/// Programming lines with nothing but the simulated controller behind them.
class issp : public testing::Test {
  protected:
    issp() {
        auto* const block = io::system_t::fpga_base() + 0x20'0000;
        io::mmio::write32(block, 1u << 13);
        lines_.set_register(block + 0x300);
        lines_.programming_on();
        sim::fpga()->record(true);
    }

    /// The words written to the lines' register since the last call; `look` for one that was read.
    static std::vector<std::uint32_t> recorded() {
        std::vector<std::uint32_t> words;
        for (const auto& access : sim::fpga()->recorded()) {
            words.push_back(access.kind == sim::bus_access_t::kind_e::write32 ? access.value : look);
        }
        sim::fpga()->forget_recorded();
        return words;
    }
    static constexpr std::uint32_t look = ~0u;

    const tests::checked_unit_t unit_{"page-station"};
    sim::page_station_state_t& state_ = sim::set_up_keypad(unit_.root, sim::keypad_setup_e::up_to_date);
    const io::system_t system_;
    io::keypad_lines_t lines_;
    io::issp_t issp_{lines_};
};

TEST_F(issp, the_key_follows_the_reset_pulse_at_once_and_silence_ends_the_wait_after_201_looks) {
    EXPECT_EQ(issp_.fXRESInitializeTargetForISSP(), io::issp_result_e::success);
    auto words = recorded();
    words.resize(10);
    EXPECT_EQ(words, (std::vector<std::uint32_t>{0x0001, 0x0021, 0x0021, 0x0821, 0x1821, 0x0821, 0x0A21,
                                                 0x0E21, 0x0E61, 0x0E21}));
    EXPECT_EQ(state_.chip.entries, 1u);

    state_.chip.never_finishes = true;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(issp_.fEraseTarget(), io::issp_result_e::erase_failed);
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_TRUE(waited >= std::chrono::milliseconds{200} && waited < std::chrono::milliseconds{1900})
        << "a look a millisecond";
    EXPECT_EQ(std::ranges::count(recorded(), look), 2 + 1 + 200) << "silent, high, then still high";

    state_.chip.present = false;
    EXPECT_EQ(issp_.fXRESInitializeTargetForISSP(), io::issp_result_e::no_entry);
    EXPECT_EQ(std::ranges::count(recorded(), look), 201);
}

// What the controller takes over at the falling edges of the clock, vector by vector where they are of the
// table.
std::string heard(const std::vector<std::uint32_t>& words) {
    std::string bits;
    std::uint32_t before = 0;
    for (const auto word : words) {
        const bool falls = (before & 0x40U) != 0 && (word & 0x40U) == 0;
        bits += !falls ? "" : (word & 0x400U) != 0 ? "1" : "0";
        before = word;
    }
    std::string text;
    for (std::size_t position = 0; position < bits.size();) {
        std::string line;
        std::size_t length = 0;
        for (const auto& vector : io::issp::table) {
            std::string own;
            for (std::size_t i = 0; i < vector.length; ++i) {
                own += (unsigned{vector.bytes[i / 8]} >> (7 - i % 8) & 1U) != 0 ? '1' : '0';
            }
            if (own.size() > std::max<std::size_t>(length, 10) &&
                bits.compare(position, own.size(), own) == 0) {
                line = "\n  " + std::string{vector.role} + ' ';
                length = own.size();
            }
        }
        text += length == 0 ? bits.substr(position, 1) : line;
        position += std::max<std::size_t>(length, 1);
    }
    return text + '\n';
}

TEST_F(issp, each_step_sends_its_vectors_in_their_order) {
    std::string listing;
    const auto tell = [&](const char* name, const auto& step) {
        recorded();
        step();
        listing += name + heard(recorded());
    };
    std::uint16_t sum = 0;
    tell("enter", [&] { static_cast<void>(issp_.fXRESInitializeTargetForISSP()); });
    tell("type", [&] { static_cast<void>(issp_.fVerifySiliconID()); });
    tell("erase", [&] { static_cast<void>(issp_.fEraseTarget()); });
    tell("program", [&] { static_cast<void>(issp_.fProgramTargetBlock(0x5A)); });
    tell("status", [&] { static_cast<void>(issp_.fReadStatus()); });
    tell("verify", [&] { static_cast<void>(issp_.fVerifySetup(0x5A)); });
    tell("sum", [&] { static_cast<void>(issp_.fAccTargetBankChecksum(sum)); });
    EXPECT_EQ(listing, tests::golden_text("issp_steps.txt", listing));
}

}  // namespace
