#include "firmware/updater.h"
#include "sim/engine.h"
#include "sim/fpga.h"
#include "tests/temporary_unit.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

namespace {

thread_local std::size_t allocations = 0;

}  // namespace

void* operator new(std::size_t size) {
    ++allocations;
    if (void* const memory = std::malloc(size)) {
        return memory;
    }
    throw std::bad_alloc{};
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace {

using firmware::update_state_e;
using zel::frame::encode;

const std::string state = "/sys/fw_status/state";
const std::string progress = "/sys/fw_status/progress";
const std::string detail = "/sys/fw_status/detail";

class updater : public ::testing::Test {
  protected:
    updater() { EXPECT_TRUE(started_); }

    // What a tracker holds after one pass that finds one changed property.
    firmware::updater_t& after(const std::string& name, const std::string& value) {
        engine_.send_raw(encode({"changed", name, value}));
        tracker_.poll(0);
        return tracker_;
    }

    tests::temporary_unit_t unit_;
    sim::engine_t engine_;
    bool started_ = engine_.start();
    firmware::updater_t tracker_;
};

TEST_F(updater, creates_monitors_and_reads_its_properties_in_order) {
    const auto wanted = [](const std::string& command) {
        return std::vector{command + " " + state, command + " " + progress, command + " " + detail};
    };
    auto expected = wanted("create");
    for (const auto* const command : {"monitor", "get"}) {
        for (const auto& line : wanted(command)) {
            expected.push_back(line);
        }
    }
    EXPECT_TRUE(tests::eventually([&] { return engine_.requests().size() == 9; }));
    EXPECT_EQ(engine_.requests(), expected);
    EXPECT_EQ(sim::violations(), "");
}

TEST_F(updater, knows_nothing_before_the_first_message_and_the_present_values_after) {
    const tests::temporary_unit_t without_engine;
    firmware::updater_t alone;
    EXPECT_FALSE(alone.poll(0));
    EXPECT_EQ(alone.state_name() + alone.state_display_name() + alone.detail(), "idleIdle");
    EXPECT_EQ(alone.progress(), -1);

    sim::set_unit_root(unit_.root());
    engine_.set(state, "fw_write");
    engine_.set(progress, "37");
    engine_.set(detail, "Block <3> of 9");
    firmware::updater_t late;
    engine_.stay_silent(false);  // returns after the engine has answered
    EXPECT_TRUE(late.poll(0));
    EXPECT_EQ(late.state_name() + late.state_display_name(), "fw_writeWriting Firmware");
    EXPECT_EQ(late.progress(), 37);
    EXPECT_EQ(late.detail(), "Block <3> of 9");
}

TEST_F(updater, states_are_words_spelled_exactly_and_any_may_follow_any) {
    const std::pair<const char*, const char*> words[]{{"fpga_write", "Writing FPGA"},
                                                      {"initializing", "Initializing"},
                                                      {"error", "Error"},
                                                      {"complete", "Finished. Rebooting..."},
                                                      {"Complete", "Idle"},
                                                      {"fw_write", "Writing Firmware"},
                                                      {"fw_write ", "Idle"},
                                                      {"complete", "Finished. Rebooting..."},
                                                      {"", "Idle"}};
    for (const auto& [word, display] : words) {
        EXPECT_EQ(after(state, word).state_display_name(), display) << word;
    }
    EXPECT_EQ(firmware::display_name(update_state_e{6}), "");
    EXPECT_EQ(firmware::machine_name(update_state_e{-1}), "");
}

TEST_F(updater, progress_is_read_in_any_base_and_clamped_before_it_is_narrowed) {
    const std::pair<const char*, int> texts[]{{"42", 42},
                                              {"-5", -1},
                                              {"150", 100},
                                              {"0x20", 32},
                                              {"010", 8},
                                              {"7 %", 7},
                                              {"none", 0},
                                              {"", 0},
                                              {"4294967297", 100},
                                              {"-4294967297", -1},
                                              {"99999999999999999999999", 100},
                                              {"-99999999999999999999999", -1}};
    for (const auto& [text, value] : texts) {
        EXPECT_EQ(after(progress, text).progress(), value) << text;
    }
}

TEST_F(updater, one_pass_applies_a_burst_and_ignores_what_is_not_for_it) {
    engine_.send_raw(encode({"changed", state, "error"}) + "garbage" +
                     encode({"get_response", progress, "5"}) + encode({"error", "no_property", state}) +
                     encode({"note", state, "complete"}) + encode({"changed", "/sys/fw_status", "complete"}) +
                     encode({"changed", state}) + encode({"changed", detail, "Fuse blown"}));
    EXPECT_TRUE(tracker_.poll(0));
    EXPECT_EQ(tracker_.state(), update_state_e::error);
    EXPECT_EQ(tracker_.progress(), 5);
    EXPECT_EQ(tracker_.detail(), "Fuse blown");
}

TEST_F(updater, an_engine_that_dies_in_the_middle_of_a_message_leaves_the_last_values) {
    EXPECT_EQ(after(progress, "5").progress(), 5);
    engine_.send_raw(encode({"changed", progress, "99"}).substr(0, 25));
    tracker_.poll(0);
    engine_.half_close_clients();
    EXPECT_FALSE(tracker_.poll(-1)) << "nothing more to come";
    engine_.drop_clients();
    EXPECT_FALSE(tracker_.poll(-1));
    EXPECT_EQ(tracker_.progress(), 5);
}

TEST_F(updater, a_steady_pass_allocates_nothing) {
    const std::string text(100, 'x');
    for (int pass = 0; pass < 20; ++pass) {
        engine_.send_raw(encode({"changed", state, "fw_write"}) +
                         encode({"changed", detail, text + std::to_string(pass % 10)}));
        const auto before = allocations;
        tracker_.poll(0);
        tracker_.poll(0);
        if (pass > 1) {
            EXPECT_EQ(allocations, before);
        }
        EXPECT_EQ(tracker_.detail(), text + std::to_string(pass % 10));
    }
}

}  // namespace
