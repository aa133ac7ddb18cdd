#include "firmware/updater.h"
#include "sim/engine.h"
#include "sim/unit.h"

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

TEST_F(updater, knows_nothing_without_an_engine) {
    engine_.shut_down();
    firmware::updater_t alone;
    EXPECT_FALSE(alone.poll(0));
    EXPECT_EQ(alone.state_name() + alone.state_display_name() + alone.detail(), "idleIdle");
    EXPECT_EQ(alone.progress(), -1);
}

TEST_F(updater, states_are_words_spelled_exactly_and_any_may_follow_any) {
    const std::pair<const char*, const char*> words[]{{"fpga_write", "Writing FPGA"},
                                                      {"initializing", "Initializing"},
                                                      {"error", "Error"},
                                                      {"complete", "Finished. Rebooting..."},
                                                      {"Complete", "Idle"},
                                                      {"fw_write", "Writing Firmware"},
                                                      {"fw_write ", "Idle"},
                                                      {"", "Idle"}};
    for (const auto& [word, display] : words) {
        EXPECT_EQ(after(state, word).state_display_name(), display) << word;
    }
    EXPECT_EQ(firmware::display_name(firmware::update_state_e{6}), "");
    EXPECT_EQ(firmware::machine_name(firmware::update_state_e{-1}), "");
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
                                              {"99999999999999999999999", 100}};
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
    EXPECT_EQ(tracker_.state_name() + ' ' + tracker_.detail(), "error Fuse blown");
    EXPECT_EQ(tracker_.progress(), 5);
}

TEST_F(updater, a_steady_pass_allocates_nothing) {
    for (int pass = 0; pass < 20; ++pass) {
        const auto text = std::string(100, 'x') + std::to_string(pass % 10);
        engine_.send_raw(encode({"changed", state, "fw_write"}) + encode({"changed", detail, text}));
        const auto before = allocations;
        tracker_.poll(0);
        tracker_.poll(0);
        EXPECT_TRUE(allocations == before || pass < 2);
        EXPECT_EQ(tracker_.detail(), text);
    }
}

}  // namespace
