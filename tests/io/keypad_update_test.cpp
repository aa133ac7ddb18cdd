#include "io/keypad_update.h"
#include "io/page_station.h"
#include "platform/paths.h"
#include "sim/keypad_setup.h"
#include "tests/io/bench_unit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

using sim::keypad_setup_e;

/// A page station that is brought up with its keypad controller in some state.
class keypad_update : public testing::Test {
  protected:
    keypad_update() { zel::register_logger("drv_io_page_station"); }
    ~keypad_update() override { EXPECT_EQ(sim::violations(), ""); }

    void bring_up(keypad_setup_e setup) {
        sim::set_up_keypad(unit_.root, setup);
        bring_up();
    }
    void bring_up() { EXPECT_TRUE(io::page_station().init(true)); }

    void write_image(const std::string& text) const {
        unit_.root.write_file(zel::paths::keypad_firmware, text);
    }

    /// The lines logged, from the level on.
    [[nodiscard]] std::vector<std::string> lines() const {
        constexpr std::string_view logger = "[drv_io_page_station] ";
        std::vector<std::string> found;
        const auto text = unit_.log.text();
        for (auto at = text.find(logger); at != std::string::npos; at = text.find(logger, at + 1)) {
            const auto start = at + logger.size();
            found.push_back(text.substr(start, text.find('\n', at) - start));
        }
        return found;
    }
    static std::vector<std::string> thrice(const std::string& line) { return {line, line, line}; }

    [[nodiscard]] bool holds_version(unsigned version) const {
        return chip_.flash == sim::keypad_firmware(version);
    }
    /// A key event reaches the driver only when the keypad was found fit for use, and only from a controller
    /// that runs.
    static bool keys_work() {
        auto& state = sim::shared_state<sim::page_station_state_t>("page_station");
        state.face.key(21, true);
        std::uint32_t key = 0;
        bool pressed = false;
        return io::page_station().read_key(key, pressed) && key == 21 && pressed;
    }

    tests::bench_unit_t unit_{"page-station"};
    sim::keypad_chip_state_t& chip_ = sim::shared_state<sim::page_station_state_t>("page_station").chip;
};

TEST_F(keypad_update, a_current_controller_is_only_restarted) {
    bring_up(keypad_setup_e::up_to_date);
    EXPECT_EQ(lines(), std::vector<std::string>{"[info] keypad controller firmware is up to date"});
    EXPECT_EQ(chip_.erases, 0u);
    EXPECT_TRUE(keys_work());
}

TEST_F(keypad_update, an_outdated_or_blank_controller_is_programmed_and_compared) {
    const std::string updated = "[info] successfully updated keypad controller firmware";
    bring_up(keypad_setup_e::outdated);
    EXPECT_EQ(lines(), std::vector{updated});
    EXPECT_TRUE(holds_version(2));
    EXPECT_EQ(chip_.blocks_programmed, 64u);
    EXPECT_EQ(chip_.blocks_read, 64u);
    EXPECT_TRUE(keys_work());

    bring_up(keypad_setup_e::blank);
    EXPECT_EQ(lines(), (std::vector{updated, updated}));
    EXPECT_TRUE(holds_version(2));
}

TEST_F(keypad_update, a_controller_that_cannot_be_used_leaves_the_unit_without_keys) {
    bring_up(keypad_setup_e::absent);
    EXPECT_EQ(lines(), thrice("[error] fXRESInitializeTargetForISSP() failed: 1"));
    EXPECT_FALSE(keys_work());
}

TEST_F(keypad_update, a_controller_of_another_type_is_not_touched) {
    bring_up(keypad_setup_e::wrong_type);
    EXPECT_EQ(lines(), thrice("[info] keypad controller not found"));
    EXPECT_EQ(chip_.erases, 0u);
    EXPECT_FALSE(keys_work());
}

TEST_F(keypad_update, a_step_that_fails_is_named_with_its_number) {
    bring_up(keypad_setup_e::worn_out);
    EXPECT_EQ(lines(), thrice("[error] fReadStatus failed: 7"));
    EXPECT_EQ(chip_.erases, 3u);
    EXPECT_FALSE(keys_work());
}

TEST_F(keypad_update, a_byte_that_reads_wrong_fails_the_comparison) {
    sim::set_up_keypad(unit_.root, keypad_setup_e::blank);
    chip_.misread_at = 8191;
    chip_.misread_bits = 0x01;
    bring_up();
    EXPECT_EQ(lines(), thrice("[error] fReadByteLoop failed: 4"));
    EXPECT_EQ(chip_.blocks_read, 3u * 64);
}

TEST_F(keypad_update, a_second_attempt_may_succeed_and_then_programs_whatever_the_sums_say) {
    sim::set_up_keypad(unit_.root, keypad_setup_e::up_to_date);
    chip_.entries_to_miss = 1;
    bring_up();
    EXPECT_EQ(lines(), (std::vector<std::string>{"[error] fXRESInitializeTargetForISSP() failed: 1",
                                                 "[info] successfully updated keypad controller firmware"}));
    EXPECT_EQ(chip_.erases, 1u);
    EXPECT_TRUE(holds_version(2));
    EXPECT_TRUE(keys_work());
}

TEST_F(keypad_update, a_controller_that_hangs_is_given_up_after_three_attempts) {
    bring_up(keypad_setup_e::never_answers);
    EXPECT_EQ(lines(), thrice("[error] fXRESInitializeTargetForISSP() failed: 1"));
}

TEST_F(keypad_update, an_image_that_cannot_be_used_is_told_and_leaves_the_controller_alone) {
    const std::string not_hex = "[error] keypad firmware file format is not Intel hex";
    const std::string not_data = "[error] failed to read data record from keypad firmware file";
    const std::string mismatch = "[error] address mismatch reading keypad firmware file";
    const auto firmware = sim::keypad_firmware(3);
    const auto good = sim::intel_hex_text(firmware);
    const auto line = good.find('\n') + 1;
    auto swapped = good.substr(line, line) + good.substr(0, line) + good.substr(2 * line);
    auto bad_digit = good;
    bad_digit[line * 100 + 10] ^= 1;
    std::string straddling = sim::intel_hex_text(std::span{firmware}.first(112));
    straddling = straddling.substr(0, straddling.rfind(":00")) + ":20007000" + std::string(64, '0') + "70\n" +
                 ":10009000" + std::string(32, '0') + "60\n";
    // The last record but one is made to reach 16 bytes past the end.
    const auto past_end = good.substr(0, 511 * line) + ":201FF000" + std::string(64, '0') + "D1\n";

    struct {
        const char* what;
        std::string image;
        std::string expected;
    } const cases[] = {
        {"empty", "", not_hex},
        {"cut short", good.substr(0, 300 * line), not_hex},
        {"cut within a line", good.substr(0, 300 * line + 20), not_hex},
        {"an end-of-file record too early", sim::intel_hex_text(std::span{firmware}.first(8064)), not_data},
        {"binary", std::string{firmware.begin(), firmware.end()}, not_hex},
        {"zeros", std::string(9000, '\0'), not_hex},
        {"lines of 767 characters", ":" + std::string(766, 'F') + "\n:" + std::string(766, '0'), not_hex},
        {"a blank line", '\n' + good, not_hex},
        {"a wrong checksum", bad_digit, not_hex},
        {"out of order", swapped, mismatch},
        {"straddling a block's end", straddling, mismatch},
        {"past the end", past_end, mismatch},
        {"not from the start", good.substr(line), mismatch},
    };
    sim::set_up_keypad(unit_.root, keypad_setup_e::outdated);
    std::vector<std::string> expected;
    for (const auto& bad : cases) {
        SCOPED_TRACE(bad.what);
        write_image(bad.image);
        EXPECT_FALSE(io::update_keypad_firmware(zel::paths::keypad_firmware));
        expected.push_back(bad.expected);
        EXPECT_EQ(lines().back(), bad.expected);
    }
    unit_.root.remove_file(zel::paths::keypad_firmware);
    EXPECT_FALSE(io::update_keypad_firmware(zel::paths::keypad_firmware));
    expected.emplace_back("[error] failed to open keypad firmware file /usr/zel/firmware/ps_keypad.hex");
    EXPECT_EQ(lines(), expected);
    EXPECT_EQ(chip_.entries, 0u);
}

TEST_F(keypad_update, records_may_have_any_length_that_ends_on_the_blocks_and_what_follows_is_not_read) {
    for (const std::size_t record_length : {1u, 32u, 128u}) {
        sim::set_up_keypad(unit_.root, keypad_setup_e::blank);
        write_image(sim::intel_hex_text(sim::keypad_firmware(9), record_length) + "anything\n");
        bring_up();
        EXPECT_TRUE(holds_version(9)) << record_length;
    }
}

}  // namespace
