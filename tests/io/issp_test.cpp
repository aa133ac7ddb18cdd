#include "io/issp.h"
#include "io/mmio.h"
#include "io/system.h"
#include "sim/keypad_setup.h"
#include "tests/io/driver_test.h"

#include <algorithm>
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
    constexpr struct {
        std::string_view role;
        std::size_t length;
        const char* bytes;
    } published[] = {
        {"initialisation", 594,
         "CA0000000000000000000000000000000DEE21F7F027DC409F7001FDEE01E7C1D79F207E7D887DEE21F7F007DC401F7001"
         "FDEE01F7A01FDEA01F7B007DE013F7C007DF281F7D187DFE2580"},
        {"silicon ID setup", 418,
         "DEE21F7F027DC409F7001F9F075E7C81F9F401F7F007DC401F7001FDEE01F7A0"
         "1FDEA01F7B007DE00DF7C007DF281F7D187DFE2580"},
        {"erase", 396,
         "DEE21F7F027DC409F7001F9F075E7C85FDFC01F71007DC007F7B807DE00BF7A0"
         "1FDEA01F7B047DF001F7C987DF481F7F8960"},
        {"program block", 440,
         "DEE21F7F027DC409F7001F9F075E7C81F9F701F7F007DC401F7001FDEE01F6A0"
         "0FDE807F7A807DEC01F78057DF001F7CA07DF461F7F896"},
        {"verify setup", 440,
         "DEE21F7F027DC409F7001F9F075E7C81F9F701F7F007DC401F7001FDEE01F6A8"
         "0FDE807F7A807DEC01F7800FDF001F7CA07DF461F7F896"},
        {"checksum setup", 418,
         "DEE21F7F027DC409F7001F9F075E7C81F9F401F7F007DC401F7001FDEE01F7A0"
         "1FDEA01F7B007DE00FF7C007DF281F7D187DFE2580"},
        {"TSYNC enable", 110, "DEE21F7F027DC409F7001FDEE01C"},
        {"TSYNC disable", 110, "DEE21F71007DFC01F7001FDEE01C"},
        {"read-write setup", 66, "DEF01F78007DA003C0"},
        {"set block number", 33, "DEE01E7D00"},
        {"wait-and-poll end", 40, "0000000000"},
        {"write byte: beginning", 4, "90"},
        {"write byte, set block number: end", 3, "E0"},
        {"read byte: beginning", 4, "B0"},
        {"read byte, checksum: end", 1, "80"},
        {"read ID or status: first", 11, "BF00"},
        {"read ID or status: second", 12, "DF90"},
        {"read ID or status: end", 1, "00"},
        {"read checksum: high", 11, "BF20"},
        {"read checksum: low", 12, "DF80"},
    };
    EXPECT_EQ(io::issp::table.size(), std::size(published));
    for (const auto& vector : published) {
        const auto entry = std::ranges::find_if(
            io::issp::table, [&](const auto& row) { return row.role.starts_with(vector.role); });
        ASSERT_NE(entry, io::issp::table.end()) << vector.role;
        EXPECT_EQ(entry->length, vector.length) << vector.role;
        EXPECT_EQ(hex(entry->bytes), vector.bytes) << vector.role;
    }
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
    EXPECT_EQ(issp_.fEraseTarget(), io::issp_result_e::erase_failed);
    EXPECT_EQ(std::ranges::count(recorded(), look), 2 + 1 + 200) << "silent, high, then still high";

    state_.chip.present = false;
    EXPECT_EQ(issp_.fXRESInitializeTargetForISSP(), io::issp_result_e::no_entry);
    EXPECT_EQ(std::ranges::count(recorded(), look), 201);
}

}  // namespace
