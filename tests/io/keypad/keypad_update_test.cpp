#include "io/keypad/keypad_update.h"
#include "io/page_station/page_station.h"
#include "platform/paths.h"
#include "sim/board/keypad_setup.h"
#include "tests/golden.h"
#include "tests/io/driver_test.h"

#include <array>
#include <string>
#include <utility>

namespace {

using sim::keypad_setup_e;

/// A page station that is brought up with its keypad controller in some state.
class keypad_update : public testing::Test {
  protected:
    keypad_update() { zel::register_logger("drv_io_page_station"); }

    /// The lines logged since the last call, level and text.
    std::string lines() {
        constexpr std::string_view logger = "[drv_io_page_station] ";
        const auto text = unit_.log.text();
        std::string found;
        for (auto at = text.find(logger, seen_); at != std::string::npos; at = text.find(logger, at + 1)) {
            const auto start = at + logger.size();
            found += "  " + text.substr(start, text.find('\n', at) - start) + '\n';
        }
        seen_ = text.size();
        return found;
    }
    /// A key event reaches the driver only when the keypad was found fit for use, and only from a controller
    /// that runs.
    bool key_works() {
        state_.face.key(21, true);
        std::uint32_t key = 99;
        bool pressed = false;
        EXPECT_TRUE(io::page_station().read_key(key, pressed) && (key == 21) == pressed &&
                    (pressed || key == 0))
            << "one that is not fit is not asked, and no key is pressed on it";
        return pressed;
    }
    tests::checked_unit_t unit_{"page-station"};
    sim::page_station_state_t& state_ = sim::shared_state<sim::page_station_state_t>("page_station");
    std::size_t seen_ = 0;
};

TEST_F(keypad_update, a_controller_is_updated_when_needed_and_used_when_fit) {
    const struct {
        const char* what;
        keypad_setup_e setup;
        unsigned entries_to_miss, misread_bits;
    } cases[] = {
        {"up to date", keypad_setup_e::up_to_date, 0, 0},
        {"outdated", keypad_setup_e::outdated, 0, 0},
        {"blank", keypad_setup_e::blank, 0, 0},
        {"up to date, and deaf once: programmed by the second attempt", keypad_setup_e::up_to_date, 1, 0},
        {"absent", keypad_setup_e::absent, 0, 0},
        {"wrong type", keypad_setup_e::wrong_type, 0, 0},
        {"worn out", keypad_setup_e::worn_out, 0, 0},
        {"blank, and misread", keypad_setup_e::blank, 0, 1},
    };
    auto& chip = state_.chip;
    std::string report;
    for (const auto& [what, setup, entries_to_miss, misread_bits] : cases) {
        sim::set_up_keypad(unit_.root, setup);
        chip.entries_to_miss = entries_to_miss;
        chip.misread_at = 8191;
        chip.misread_bits = static_cast<std::uint8_t>(misread_bits);
        chip.erases = 0;
        EXPECT_TRUE(io::page_station().init(true));
        report += std::string{what} + ", erased " + std::to_string(chip.erases) + " times" +
                  (chip.flash == sim::keypad_firmware(2) ? ", holds the image" : "") +
                  (key_works() ? ", keys work\n" : "\n") + lines();
    }
    EXPECT_EQ(report, tests::golden_text("keypad_controllers.txt", report));
}

TEST_F(keypad_update, each_step_that_fails_is_told_at_whatever_stage) {
    sim::set_up_keypad(unit_.root, keypad_setup_e::outdated);
    ASSERT_TRUE(io::page_station().init(true));
    io::keypad_lines().programming_on();
    lines();
    // Operations: start, ID, sum, erasing, 64 blocks written, 64 read, sum.
    constexpr unsigned silent = 1;
    constexpr unsigned wrong = 0;
    std::string report;
    for (const auto& [operation, trouble] : {std::pair{1U, silent},
                                             {2U, silent},
                                             {2U, wrong},
                                             {3U, silent},
                                             {4U, silent},
                                             {5U, silent},
                                             {5U, wrong},
                                             {68U, silent},
                                             {68U, wrong},
                                             {69U, silent},
                                             {69U, wrong},
                                             {132U, silent},
                                             {132U, wrong},
                                             {133U, silent},
                                             {133U, wrong}}) {
        auto& chip = sim::set_up_keypad(unit_.root, keypad_setup_e::outdated).chip;
        chip.troubled_operation = operation;
        chip.trouble_is_silence = trouble == silent;
        EXPECT_FALSE(io::update_keypad_firmware(zel::paths::keypad_firmware));
        report += "operation " + std::to_string(operation) +
                  (trouble == silent ? " never ends\n" : " ends badly\n") + lines();
        EXPECT_EQ(chip.operations, operation) << "nothing goes on behind it";
    }
    for (const auto& id : {std::array<std::uint8_t, 2>{0x00, 0xB5}, {0x01, 0xBA}}) {
        sim::set_up_keypad(unit_.root, keypad_setup_e::outdated).chip.silicon_id = id;
        EXPECT_FALSE(io::update_keypad_firmware(zel::paths::keypad_firmware));
    }
    report += "other IDs\n" + lines();
    EXPECT_EQ(report, tests::golden_text("keypad_steps.txt", report));
}

TEST_F(keypad_update, an_image_that_cannot_be_used_is_told_and_leaves_the_controller_alone) {
    const auto firmware = sim::keypad_firmware(3);
    const auto good = sim::intel_hex_text(firmware);
    const auto line = good.find('\n') + 1;
    auto straddling = sim::intel_hex_text(std::span{firmware}.first(112));
    straddling.replace(straddling.rfind(":00"), std::string::npos,
                       ":20007000" + std::string(64, '0') + "70\n:10009000" + std::string(32, '0') + "60\n");
    const std::pair<const char*, std::string> images[] = {
        {"cut short", good.substr(0, 300 * line)},
        {"an end-of-file record too early", sim::intel_hex_text(std::span{firmware}.first(8064))},
        {"straddling a block's end", straddling},
        {"past the end", good.substr(0, 511 * line) + ":111FF000" + std::string(34, '0') + "E0\n"},
    };
    sim::set_up_keypad(unit_.root, keypad_setup_e::outdated);
    std::string report;
    for (const auto& [what, image] : images) {
        unit_.root.write_file(zel::paths::keypad_firmware, image);
        EXPECT_FALSE(io::update_keypad_firmware(zel::paths::keypad_firmware)) << what;
        report += std::string{what} + '\n' + lines();
    }
    unit_.root.remove_file(zel::paths::keypad_firmware);
    EXPECT_FALSE(io::update_keypad_firmware(zel::paths::keypad_firmware));
    report += "none\n" + lines();
    EXPECT_EQ(report, tests::golden_text("keypad_images.txt", report));
    EXPECT_EQ(state_.chip.entries, 0u);
}

}  // namespace
