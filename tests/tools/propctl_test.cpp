#include "platform/version.h"
#include "sim/peers/engine.h"
#include "sim/unit/unit.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <string>

namespace {

/// A unit's files and property engine, with propctl run on it in its root.
class propctl : public testing::Test {
  protected:
    propctl() {
        engine_.observe([this](const std::string& name, const std::string& value) {
            if (name == "/fixed" && value != "1") {
                engine_.set(name, "1");
            }
        });
        EXPECT_TRUE(engine_.start());
    }

    // Everything it prints comes back, on whichever output.
    std::FILE* start(const std::string& command) const {
        const auto line =
            "cd " + unit_.path() + " && FWSTATUS_UNIT_ROOT=$PWD timeout 10 " + command + " 2>&1";
        return ::popen(line.c_str(), "r");  // NOLINT(cert-env33-c)
    }

    // What a command still prints, and behind it its exit status.
    static std::string rest_of(std::FILE* output) {
        std::string text;
        for (int character = 0; (character = std::fgetc(output)) != EOF;) {
            text += static_cast<char>(character);
        }
        return text + std::to_string(WEXITSTATUS(::pclose(output)));
    }

    std::string run(const std::string& command) const { return rest_of(start(command)); }

    sim::unit_root_t unit_{*sim::find_unit("container")};
    sim::engine_t engine_;
};

TEST_F(propctl, reads_sets_creates_and_lists) {
    EXPECT_EQ(run(PROPCTL " list"), "propctl: no such property: there are none\n1");
    engine_.set("/a/one", "1");
    engine_.set("/a/two", "two words");
    EXPECT_EQ(run(PROPCTL " get /a/two /a/one"), "two words\n1\n0");
    EXPECT_EQ(run(PROPCTL " get -- /a/two"), "two words\n0");
    EXPECT_EQ(run("sh -c '" PROPCTL " get /a/one >/dev/full'"),
              "propctl: cannot write to standard output\n1");
    EXPECT_EQ(run("sh -c '" PROPCTL " monitor /a/one >/dev/full'"),
              "propctl: cannot write to standard output\n1");
    EXPECT_EQ(run(PROPCTL " get /a/two /d /a/one"), "propctl: no such property: /d\ntwo words\n1");
    EXPECT_EQ(run(PROPCTL " set /b 1"), "propctl: no such property: /b\n1");
    EXPECT_EQ(run(PROPCTL " create /b '-5 %'"), "0");
    EXPECT_EQ(run(PROPCTL " create /c"), "0") << "it is known, and has no value";
    EXPECT_EQ(run(PROPCTL " set /c --help"), "0");
    EXPECT_EQ(run(PROPCTL " list"), "/a/one=1\n/a/two=two words\n/b=-5 %\n/c=--help\n0");
    EXPECT_EQ(run(PROPCTL " list /a/t"), "/a/two=two words\n0");
    EXPECT_EQ(run(PROPCTL " list /d"), "propctl: no such property: /d...\n1");
    EXPECT_EQ(run(PROPCTL " monitor /a/one /d"), "propctl: no such property: /d\n1");
    engine_.answer_reads(0);
    EXPECT_EQ(run(PROPCTL " set /b 1"), "propctl: the property engine does not answer\n3");
    engine_.answer_reads({});
    engine_.set("/fixed", "1");
    EXPECT_EQ(run(PROPCTL " set /fixed 2"), "propctl: /fixed is \"1\" all the same\n1");
    engine_.stay_silent(true);
    for (const auto* const command : {" get /b", " create /b", " list", " monitor /b"}) {
        EXPECT_EQ(run(PROPCTL + std::string{command}), "propctl: the property engine does not answer\n3");
    }
    engine_.shut_down();
    EXPECT_EQ(run(PROPCTL " get /b"), "propctl: cannot reach the property engine at /tmp/.korv_property_ipc: "
                                      "No such file or directory\n3");
}

TEST_F(propctl, a_command_line_that_is_none_is_refused_before_anybody_is_asked) {
    engine_.shut_down();
    for (const auto* const words :
         {"get", "set", "set /b", "set /b 1 2", "create", "create /b 1 2", "list / /a", "monitor"}) {
        const std::string command = words;
        EXPECT_EQ(run(PROPCTL " " + command), "propctl: wrong number of arguments for " +
                                                  command.substr(0, command.find(' ')) + ", see --help\n2");
    }
    EXPECT_EQ(run(PROPCTL " gte /b"), "propctl: unknown command \"gte\", see --help\n2");
    EXPECT_EQ(run(PROPCTL " --gte get"), "propctl: unknown command \"--gte\", see --help\n2");
    const auto help = run(PROPCTL " --help");
    EXPECT_EQ(run(PROPCTL), help.substr(0, help.size() - 1) + "2");
    EXPECT_EQ(run(PROPCTL " --version"), std::string{zel::version_text()} + "\n0");
    const std::string longest(zel::frame::max_texts - 2, 'v');
    EXPECT_EQ(run(PROPCTL " set /b " + longest).back(), '3') << "there is no engine";
    EXPECT_EQ(run(PROPCTL " set /b v" + longest), "propctl: name and value are too long for a message\n2");
}

TEST_F(propctl, waits_for_a_first_value_and_prints_changes_until_the_engine_goes) {
    engine_.set("/a", "1");
    run(PROPCTL " create /b");
    std::FILE* const output = start(PROPCTL " monitor /b /a");
    const auto says = [output](const std::string& wanted) {
        std::array<char, 100> line{};
        EXPECT_EQ(std::fgets(line.data(), line.size(), output), line.data());
        EXPECT_EQ(line.data(), wanted + "\n");
    };
    says("/a=1");
    engine_.set("/b", "first");
    says("/b=first");
    engine_.set("/a", "2");
    says("/a=2");
    engine_.drop_clients();
    EXPECT_EQ(rest_of(output), "propctl: the property engine has gone\n3");
}

}  // namespace
