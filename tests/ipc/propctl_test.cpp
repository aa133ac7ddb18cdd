#include "sim/engine.h"
#include "sim/unit.h"
#include "tests/outcome_of.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

class propctl : public ::testing::Test {
  protected:
    propctl() { EXPECT_TRUE(engine_.start()); }

    [[nodiscard]] std::string run(const std::string& arguments) const {
        return tests::outcome_of("FWSTATUS_UNIT_ROOT=" + unit_.path() + " timeout 10 " PROPCTL " " +
                                 arguments);
    }

    sim::unit_root_t unit_{*sim::find_unit("container")};
    sim::engine_t engine_;
};

TEST_F(propctl, reads_sets_creates_and_lists) {
    engine_.set("/a/one", "1");
    engine_.set("/a/two", "two words");
    EXPECT_EQ(run("get /a/two /a/one"), "two words\n1\n0");
    EXPECT_EQ(run("set /b 1"), "propctl: no such property: /b\n1");
    EXPECT_EQ(run("create /b 'new value'"), "0");
    EXPECT_EQ(run("list /a"), "/a/one=1\n/a/two=two words\n0");
    EXPECT_EQ(run("list"), "/a/one=1\n/a/two=two words\n/b=new value\n0");
    EXPECT_EQ(run("list /c"), "propctl: no such property: /c...\n1");
    EXPECT_EQ(run("get").back(), '2');
    engine_.stay_silent(true);
    EXPECT_EQ(run("get /b"), "propctl: the property engine does not answer\n3");
    engine_.shut_down();
    EXPECT_EQ(run("get /b"), "propctl: cannot reach the property engine at /tmp/.korv_property_ipc: "
                             "No such file or directory\n3");
}

TEST_F(propctl, prints_changes_until_the_engine_goes) {
    engine_.set("/a", "1");
    const std::jthread changes{[this] {
        EXPECT_TRUE(sim::wait_until([this] { return engine_.requests().size() == 2; }));
        engine_.set("/a", "2");
        engine_.set("/a", "3");
        // The hang-up would take away what has not been read yet.
        std::this_thread::sleep_for(std::chrono::milliseconds{300});
        engine_.drop_clients();
    }};
    EXPECT_EQ(run("monitor /a"), "/a=1\n/a=2\n/a=3\npropctl: the property engine has gone\n3");
}

}  // namespace
