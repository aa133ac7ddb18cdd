#include "firmware/updater.h"
#include "sim/peers/engine.h"
#include "sim/unit/unit.h"
#include "tests/allocation_counter.h"

#include <gtest/gtest.h>

namespace {

using zel::frame::encode;

const std::string state = "/sys/fw_status/state";
const std::string progress = "/sys/fw_status/progress";
const std::string detail = "/sys/fw_status/detail";

class updater : public ::testing::Test {
  protected:
    // What a tracker holds after one pass that finds one changed property.
    firmware::updater_t& after(const std::string& name, const std::string& value) {
        engine_.send_raw(encode({"changed", name, value}));
        tracker_.poll(0);
        return tracker_;
    }

    sim::unit_root_t unit_{*sim::find_unit("container")};
    sim::engine_t engine_;
    bool started_ = engine_.start();
    firmware::updater_t tracker_;
};

TEST_F(updater, creates_monitors_and_reads_its_properties_in_order) {
    std::vector<std::string> expected;
    for (const auto* const command : {"create ", "monitor ", "get "}) {
        for (const auto& property : {state, progress, detail}) {
            expected.push_back(command + property);
        }
    }
    EXPECT_TRUE(sim::wait_until([&] { return engine_.requests() == expected; }));
}

TEST_F(updater, states_are_words_spelled_exactly_and_any_may_follow_any) {
    EXPECT_EQ(tracker_.state_display_name(), "Idle");
    std::vector<std::string> names;
    for (const auto* const word :
         {"fpga_write", "initializing", "error", "Complete", "complete", "fw_write ", "fw_write"}) {
        names.push_back(after(state, word).state_display_name());
    }
    EXPECT_EQ(names, (std::vector<std::string>{"Writing FPGA", "Initializing", "Error", "Idle",
                                               "Finished. Rebooting...", "Idle", "Writing Firmware"}));
    EXPECT_EQ(firmware::display_name(firmware::update_state_e{6}), "");
}

TEST_F(updater, progress_is_read_in_any_base_and_clamped_before_it_is_narrowed) {
    EXPECT_EQ(tracker_.progress(), -1);
    std::vector<int> values;
    for (const auto* const text : {"42", "-5", "150", "0x20", "010", "7 %", "none", "", "4294967297",
                                   "-4294967297", "99999999999999999999999"}) {
        values.push_back(after(progress, text).progress());
    }
    EXPECT_EQ(values, (std::vector{42, -1, 100, 32, 8, 7, 0, 0, 100, -1, 100}));
}

TEST_F(updater, one_pass_applies_a_burst_and_ignores_what_is_not_for_it) {
    engine_.send_raw(encode({"changed", state, "error"}) + "garbage" +
                     encode({"get_response", progress, "5"}) + encode({"error", "no_property", state}) +
                     encode({"note", state, "complete"}) + encode({"changed", "/sys/fw_status", "complete"}) +
                     encode({"changed", state}) + encode({"changed", detail, "Fuse blown"}));
    EXPECT_TRUE(tracker_.poll(0));
    EXPECT_EQ(tracker_.state_name() + ' ' + tracker_.detail(), "error Fuse blown");
    EXPECT_EQ(tracker_.progress(), 5);
}

TEST_F(updater, one_poll_takes_2000_messages_and_the_next_goes_on_from_there) {
    std::string notes;
    for (int i = 0; i < 2000; ++i) {
        notes += encode({"note", "", ""});
    }
    engine_.send_raw(notes + encode({"changed", progress, "5"}));
    EXPECT_TRUE(tracker_.poll(0));
    EXPECT_EQ(tracker_.progress(), -1);
    EXPECT_TRUE(tracker_.poll(0));
    EXPECT_EQ(tracker_.progress(), 5);
    EXPECT_FALSE(tracker_.poll(0));
}

TEST_F(updater, a_steady_pass_allocates_nothing) {
    for (int pass = 0; pass < 20; ++pass) {
        const auto text = std::string(100, 'x') + std::to_string(pass % 10);
        engine_.send_raw(encode({"changed", state, "fw_write"}) + encode({"changed", detail, text}));
        const auto before = sim::allocations;
        tracker_.poll(0);
        tracker_.poll(0);
        EXPECT_TRUE(sim::allocations == before || pass < 2);
        EXPECT_EQ(tracker_.detail(), text);
    }
}

}  // namespace
