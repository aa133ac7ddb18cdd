#include "io/keypad_update.h"
#include "io/page_station.h"
#include "platform/paths.h"
#include "sim/keypad_setup.h"
#include "tests/io/driver_test.h"

#include <string>
#include <vector>

namespace {

using sim::keypad_setup_e;
using lines_t = std::vector<std::string>;

/// A page station that is brought up with its keypad controller in some state.
class keypad_update : public testing::Test {
  protected:
    keypad_update() { zel::register_logger("drv_io_page_station"); }

    /// The lines logged since the last call, from the level on.
    lines_t lines() {
        constexpr std::string_view logger = "[drv_io_page_station] ";
        const auto text = unit_.log.text();
        lines_t found;
        for (auto at = text.find(logger, seen_); at != std::string::npos; at = text.find(logger, at + 1)) {
            const auto start = at + logger.size();
            found.push_back(text.substr(start, text.find('\n', at) - start));
        }
        seen_ = text.size();
        return found;
    }
    /// A key event reaches the driver only when the keypad was found fit for use, and only from a controller
    /// that runs.
    bool key_works() {
        state_.face.key(21, true);
        std::uint32_t key = 0;
        bool pressed = false;
        return io::page_station().read_key(key, pressed) && key == 21 && pressed;
    }
    tests::checked_unit_t unit_{"page-station"};
    sim::page_station_state_t& state_ = sim::shared_state<sim::page_station_state_t>("page_station");
    std::size_t seen_ = 0;
};

TEST_F(keypad_update, a_controller_is_updated_when_needed_and_used_when_fit) {
    const std::string updated = "[info] successfully updated keypad controller firmware";
    const std::string silent = "[error] fXRESInitializeTargetForISSP() failed: 1";
    const struct {
        keypad_setup_e setup;
        unsigned entries_to_miss, misread_bits, erases;
        lines_t lines;
    } cases[] = {
        {keypad_setup_e::up_to_date, 0, 0, 0, {"[info] keypad controller firmware is up to date"}},
        {keypad_setup_e::outdated, 0, 0, 1, {updated}},
        {keypad_setup_e::blank, 0, 0, 1, {updated}},
        {keypad_setup_e::up_to_date, 1, 0, 1, {silent, updated}},  // the second attempt programs anyway
        {keypad_setup_e::absent, 0, 0, 0, lines_t(3, silent)},
        {keypad_setup_e::wrong_type, 0, 0, 0, lines_t(3, "[info] keypad controller not found")},
        {keypad_setup_e::worn_out, 0, 0, 3, lines_t(3, "[error] fReadStatus failed: 7")},
        {keypad_setup_e::blank, 0, 1, 3, lines_t(3, "[error] fReadByteLoop failed: 4")},
    };
    auto& chip = state_.chip;
    for (const auto& [setup, entries_to_miss, misread_bits, erases, expected] : cases) {
        sim::set_up_keypad(unit_.root, setup);
        chip.entries_to_miss = entries_to_miss;
        chip.misread_at = 8191;
        chip.misread_bits = static_cast<std::uint8_t>(misread_bits);
        chip.erases = 0;
        EXPECT_TRUE(io::page_station().init(true));
        EXPECT_EQ(lines(), expected);
        EXPECT_EQ(chip.erases, erases) << expected[0];
        const bool fit = expected.size() < 3;
        EXPECT_EQ(key_works(), fit) << expected[0];
        EXPECT_TRUE(!fit || chip.flash == sim::keypad_firmware(2));
    }
}

TEST_F(keypad_update, an_image_that_cannot_be_used_is_told_and_leaves_the_controller_alone) {
    const std::string not_hex = "[error] keypad firmware file format is not Intel hex";
    const std::string not_data = "[error] failed to read data record from keypad firmware file";
    const std::string mismatch = "[error] address mismatch reading keypad firmware file";
    const auto firmware = sim::keypad_firmware(3);
    const auto good = sim::intel_hex_text(firmware);
    const auto line = good.find('\n') + 1;
    auto straddling = sim::intel_hex_text(std::span{firmware}.first(112));
    straddling.replace(straddling.rfind(":00"), std::string::npos,
                       ":20007000" + std::string(64, '0') + "70\n:10009000" + std::string(32, '0') + "60\n");
    const struct {
        const char* what;
        std::string image;
        std::string expected;
    } cases[] = {
        {"cut short", good.substr(0, 300 * line), not_hex},
        {"an end-of-file record too early", sim::intel_hex_text(std::span{firmware}.first(8064)), not_data},
        {"straddling a block's end", straddling, mismatch},
        {"past the end", good.substr(0, 511 * line) + ":201FF000" + std::string(64, '0') + "D1\n", mismatch},
    };
    sim::set_up_keypad(unit_.root, keypad_setup_e::outdated);
    for (const auto& [what, image, expected] : cases) {
        unit_.root.write_file(zel::paths::keypad_firmware, image);
        EXPECT_FALSE(io::update_keypad_firmware(zel::paths::keypad_firmware)) << what;
        EXPECT_EQ(lines(), lines_t{expected}) << what;
    }
    unit_.root.remove_file(zel::paths::keypad_firmware);
    EXPECT_FALSE(io::update_keypad_firmware(zel::paths::keypad_firmware));
    EXPECT_EQ(lines(),
              lines_t{"[error] failed to open keypad firmware file /usr/zel/firmware/ps_keypad.hex"});
    EXPECT_EQ(state_.chip.entries, 0u);
}

}  // namespace
