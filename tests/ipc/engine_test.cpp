#include "ipc/property_client.h"
#include "sim/engine.h"
#include "sim/fpga.h"
#include "tests/temporary_unit.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <memory>

namespace {

class engine : public ::testing::Test {
  protected:
    engine() { EXPECT_TRUE(engine_.start()); }

    // The output of the tool, followed by its exit status.
    [[nodiscard]] std::string propctl(const std::string& arguments) const {
        const auto command =
            "FWSTATUS_UNIT_ROOT=" + unit_.root() + " timeout 10 " PROPCTL " " + arguments + " 2>&1";
        auto* const output = ::popen(command.c_str(), "r");
        std::string text;
        for (int character = 0; (character = std::fgetc(output)) != EOF;) {
            text += static_cast<char>(character);
        }
        return text + std::to_string(WEXITSTATUS(::pclose(output)));
    }

    tests::temporary_unit_t unit_;
    sim::engine_t engine_;
};

TEST_F(engine, propctl_reads_sets_creates_and_lists) {
    engine_.set("/a/one", "1");
    engine_.set("/a/two", "two words");
    EXPECT_EQ(propctl("get /a/two /a/one"), "two words\n1\n0");
    EXPECT_EQ(propctl("get /b"), "propctl: no such property: /b\n1");
    EXPECT_EQ(propctl("set /b 1"), "propctl: no such property: /b\n1");
    EXPECT_EQ(propctl("create /b 'new value'"), "0");
    EXPECT_EQ(engine_.get("/b"), "new value");
    EXPECT_EQ(propctl("set /b ''"), "0");
    EXPECT_EQ(propctl("list /a"), "/a/one=1\n/a/two=two words\n0");
    EXPECT_EQ(propctl("list"), "/a/one=1\n/a/two=two words\n/b=\n0");
    EXPECT_EQ(propctl("list /c"), "propctl: no such property: /c...\n1");
    EXPECT_EQ(propctl("get").back(), '2');
    EXPECT_EQ(propctl("--help").back(), '0');
    EXPECT_EQ(sim::violations(), "");
    engine_.stay_silent(true);
    EXPECT_EQ(propctl("get /b"), "propctl: the property engine does not answer\n3");
    engine_.shut_down();
    EXPECT_EQ(propctl("get /b"), "propctl: cannot reach the property engine at /tmp/.korv_property_ipc: "
                                 "No such file or directory\n3");
}

TEST_F(engine, propctl_prints_changes_until_the_engine_goes) {
    engine_.set("/a", "1");
    std::thread changes{[this] {
        EXPECT_TRUE(tests::eventually([this] { return engine_.requests().size() == 2; }));
        engine_.set("/a", "2");
        engine_.set("/a", "2");
        engine_.set("/a", "3");
        // The hang-up would take away what has not been read yet.
        std::this_thread::sleep_for(std::chrono::milliseconds{300});
        engine_.drop_clients();
    }};
    EXPECT_EQ(propctl("monitor /a"), "/a=1\n/a=2\n/a=3\npropctl: the property engine has gone\n3");
    changes.join();
}

TEST_F(engine, what_is_no_request_is_a_violation_and_ends_the_connection) {
    using zel::frame::encode;
    for (const auto& bytes : {std::string{"garbage"}, encode({"get"}), encode({"frobnicate", "/a"}),
                              encode({}), encode({"get_all", "/a"})}) {
        zel::property_client_t client;
        ASSERT_TRUE(client.connect());
        ASSERT_TRUE(client.send_frame(bytes));
        std::string text;
        EXPECT_FALSE(client.receive_message(text, text, text, 10'000));
        EXPECT_FALSE(client.get("/a"));
    }
    const auto violations = sim::violations();
    EXPECT_EQ(std::count(violations.begin(), violations.end(), '\n'), 5) << violations;
}

}  // namespace
