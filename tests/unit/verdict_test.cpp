#include "sim/show/display_view.h"
#include "sim/show/verdict.h"
#include "sim/unit/unit.h"
#include "tests/property_names.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <string>

// The simulator's own eyes: a display that lags behind what is published for good is noticed, whichever it
// is.

namespace {

class verdict : public testing::TestWithParam<const char*> {};

TEST_P(verdict, notices_another_percentage_or_state_on_the_display) {
    auto unit = sim::unit_builder_t{GetParam()}.start();
    const auto display = sim::make_display_view(*unit);
    const auto publish = [&](const std::string& state, const std::string& progress) {
        unit->engine().set(properties::state, state);
        unit->engine().set(properties::progress, progress);
    };
    const auto difference = [&](std::chrono::seconds patience) {
        return sim::difference_to_published(*unit, display.get(), {.file = false}, patience);
    };
    publish("fw_write", "37");
    ASSERT_EQ(difference(std::chrono::seconds{20}), "");
    ASSERT_EQ(::kill(unit->daemon().pid(), SIGSTOP), 0);
    publish("fw_write", "38");
    EXPECT_NE(difference({}).find("38"), std::string::npos);
    publish("fpga_write", "37");
    EXPECT_EQ(difference({}).empty(), !display->keeps_up());
}

INSTANTIATE_TEST_SUITE_P(of, verdict, testing::Values("base-unit", "page-station", "serial-panel"),
                         [](const auto& test) {
                             std::string name{test.param};
                             name[name.find('-')] = '_';
                             return name;
                         });

}  // namespace
