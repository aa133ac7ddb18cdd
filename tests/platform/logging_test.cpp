#include "platform/build_info.h"
#include "platform/console.h"
#include "platform/logging.h"
#include "sim/system_path.h"
#include "tests/log_capture.h"
#include "tests/temporary_directory.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spdlog/spdlog.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <string>

namespace {

using zel::log_level_e;

/// A unit root with a build record, and loggers to apply levels to.
class level_file : public testing::Test {
  protected:
    level_file() {
        sim::set_unit_root(directory_.path());
        tests::write_file(directory_.path() + "/build_info.json", "{\"git_revision\": \"3f9c2d1\"}");
        zel::register_logger("drv_io");
        zel::register_logger("lin_ipc");
    }
    ~level_file() override { sim::set_unit_root(""); }

    void write_level_file(const std::string& text) {
        tests::write_file(path(), text);
        zel::apply_level_file("prog");
    }
    [[nodiscard]] std::string path() const { return directory_.path() + "/var/rwfs2/log_level.prog.json"; }
    [[nodiscard]] bool is_there() const { return ::access(path().c_str(), F_OK) == 0; }

    static int level_of(const std::string& name) { return spdlog::get(name)->level(); }
    static int flush_level_of(const std::string& name) { return spdlog::get(name)->flush_level(); }

    tests::temporary_directory_t directory_;
};

TEST_F(level_file, of_this_build_sets_level_and_flush_level_of_the_loggers_that_exist) {
    write_level_file(
        R"({"git_revision":"3f9c2d1","prog":{"nobody":"trace","drv_io":"Debug","lin_ipc":"verbose"}})");
    EXPECT_EQ(level_of("drv_io"), 1);
    EXPECT_EQ(flush_level_of("drv_io"), 1);
    EXPECT_EQ(flush_level_of("lin_ipc"), 2) << "an unknown level name counts as info";
    EXPECT_TRUE(is_there());
}

TEST_F(level_file, of_another_build_is_removed_and_changes_nothing) {
    write_level_file("{\n\"git_revision\": \"other\",\n\"prog\": {\"drv_io\": \"trace\"}}");
    EXPECT_FALSE(is_there());
    EXPECT_EQ(level_of("drv_io"), 2);
    // Without a build record the running revision is empty, and every revision differs from that.
    ::unlink((directory_.path() + "/build_info.json").c_str());
    write_level_file(R"({"git_revision":"3f9c2d1"})");
    EXPECT_FALSE(is_there());
}

TEST_F(level_file, under_a_name_that_the_shell_would_take_apart_is_removed_alone) {
    const auto odd = directory_.path() + "/it's; touch gone";
    sim::set_unit_root(odd);
    tests::write_file(odd + "/var/rwfs2/log_level.prog.json", R"({"git_revision":"other"})");
    zel::apply_level_file("prog");
    EXPECT_NE(::access((odd + "/var/rwfs2/log_level.prog.json").c_str(), F_OK), 0);
    EXPECT_EQ(::access((odd + "/var/rwfs2").c_str(), F_OK), 0);
}

TEST_F(level_file, of_any_other_content_is_kept_and_ignored) {
    const std::string deep(10 << 20, '[');
    for (const std::string& text : {
             std::string{},
             std::string{"{"},
             std::string{"[1]"},
             std::string{"null"},
             std::string{R"({"prog":{"drv_io":"trace"}})"},
             std::string{R"({"git_revision":7,"prog":{"drv_io":"trace"}})"},
             std::string{R"({"git_revision":"3f9c2d1","prog":["drv_io"]})"},
             std::string{R"({"git_revision":"3f9c2d1","prog":{"drv_io":{"trace":1}}})"},
             std::string{R"({"git_revision":"3f9c2d1","prog":{"drv_io":"tra)"},
             std::string{"\0\xff\xfe{\"git_revision\"", 18},
             deep,
             R"({"git_revision":"3f9c2d1","x":)" + deep + std::string(10 << 20, ']') + "}",
         }) {
        write_level_file(text);
        EXPECT_TRUE(is_there()) << text.substr(0, 80);
        EXPECT_EQ(level_of("drv_io"), 2) << text.substr(0, 80);
    }
}

TEST(build_record, gives_its_revision_on_one_line_or_many_and_nothing_otherwise) {
    const tests::temporary_directory_t directory;
    sim::set_unit_root(directory.path());
    std::string revision = "stale";
    zel::read_build_revision(revision);
    EXPECT_EQ(revision, "");
    for (const auto& [text, expected] : {
             std::pair{R"({"git_revision":"abc","other":[1,2]})", "abc"},
             std::pair{"{\n \"other\" : 1,\n\n \"git_revision\"\n : \"abc\"\n}\n", "abc"},
             std::pair{R"({"revision":"abc"})", ""},
             std::pair{R"({"git_revision":["abc"]})", ""},
             std::pair{R"(["git_revision"])", ""},
             std::pair{R"({"git_revision":"ab)", ""},
         }) {
        tests::write_file(directory.path() + "/build_info.json", text);
        zel::read_build_revision(revision);
        EXPECT_EQ(revision, expected) << text;
    }
    sim::set_unit_root("");
}

TEST(level_names, are_known_in_two_spellings_by_the_parser_and_in_any_by_the_setter) {
    EXPECT_EQ(zel::parse_level("Warning"), log_level_e::warning);
    EXPECT_EQ(zel::parse_level("trace"), log_level_e::trace);
    EXPECT_EQ(zel::parse_level("Off"), log_level_e::off);
    for (const auto* const text : {"WARNING", "warn", "notice", "", "cRITICAL"}) {
        EXPECT_EQ(zel::parse_level(text), log_level_e::info) << text;
    }
    zel::register_logger("set_by_name");
    const auto logger = spdlog::get("set_by_name");
    EXPECT_TRUE(zel::set_logger_level("set_by_name", "CRITICAL"));
    EXPECT_EQ(logger->level(), spdlog::level::critical);
    EXPECT_FALSE(zel::set_logger_level("set_by_name", "verbose"));
    EXPECT_FALSE(zel::set_logger_level("set_by_name", ""));
    EXPECT_FALSE(zel::set_logger_level("", "info"));
    EXPECT_FALSE(zel::set_logger_level("nobody", "info"));
    EXPECT_EQ(logger->level(), spdlog::level::critical);
    EXPECT_TRUE(zel::set_logger_level("set_by_name", "NOTICE"));
    EXPECT_EQ(logger->flush_level(), spdlog::level::info);
}

TEST(set_up, names_the_default_logger_and_takes_levels_from_environment_and_arguments) {
    zel::register_logger("drv_io");
    ::setenv("SPDLOG_LEVEL", "drv_io=trace", 1);
    zel::setup_logging_with_environment("/usr/sbin/prog", "stdout_color_sink_st");
    EXPECT_EQ(zel::program_name(), "prog");
    EXPECT_EQ(spdlog::default_logger()->name(), "prog");
    EXPECT_EQ(spdlog::get("drv_io")->level(), spdlog::level::trace);

    const std::string too_long = "SPDLOG_LEVEL=drv_io=error," + std::string(500, 'x') + "=off";
    const std::array arguments{"prog2", "other", "SPDLOG_LEVEL=drv_io=warning", too_long.c_str()};
    zel::setup_logging_with_arguments(static_cast<int>(arguments.size()), arguments.data(), "no such logger");
    EXPECT_EQ(zel::program_name(), "prog2");
    EXPECT_EQ(spdlog::get("drv_io")->level(), spdlog::level::warn);
}

class throwing_line_t : public zel::log_base_s {
  public:
    explicit throwing_line_t(bool standard) : standard_{standard} { *this << "never seen"; }
    using zel::log_base_s::text;

  private:
    void format() override {
        if (standard_) {
            throw std::runtime_error{"no such thing"};
        }
        throw 42;
    }
    bool standard_;
};

TEST(log_line, whose_formatting_throws_says_what_was_thrown) {
    throwing_line_t standard{true};
    standard.guarded_format();
    EXPECT_EQ(standard.text(), "no such thing");
    throwing_line_t other{false};
    other.guarded_format();
    EXPECT_EQ(other.text(), "Unknown exeption in logger");
}

TEST(log_line, goes_to_the_threads_current_logger_if_there_is_one_and_nowhere_without_a_logger) {
    const tests::log_capture_t log;
    zel::register_logger("own");
    zel::register_logger("current");
    {
        const zel::current_logger_scope_t current{spdlog::get("current")};
        zel::scope_logger{"own", log_level_e::error} << "first " << 1;
        spdlog::get("current")->set_level(spdlog::level::debug);
        ZEL_TRACE_SCOPE(nullptr);
    }
    zel::scope_logger{"own", log_level_e::error} << "second {}";
    zel::scope_logger{"nobody", log_level_e::error} << "third";
    EXPECT_TRUE(log.has("[current] [error] first 1\n"));
    EXPECT_TRUE(log.has("[own] [error] second {}\n"));
    EXPECT_FALSE(log.has("third"));
    EXPECT_EQ(log.count("[current] [debug] ╔═══"), 1);
    EXPECT_EQ(log.count(":TestBody:"), 2) << log.text();
}

TEST(log_line, logged_before_and_after_a_fork_arrives_once_each) {
    const tests::log_capture_t log;
    zel::register_logger("forking");
    zel::scope_logger{"forking", log_level_e::info} << "before the fork";
    const pid_t child = ::fork();
    if (child == 0) {
        zel::scope_logger{"forking", log_level_e::error} << "in the child";
        ::_exit(0);
    }
    ::waitpid(child, nullptr, 0);
    EXPECT_EQ(log.count("before the fork"), 1) << log.text();
    EXPECT_EQ(log.count("in the child"), 1) << log.text();
}

/// Runs with descriptor 1 pointing to one end of a pipe.
class console : public testing::Test {
  protected:
    console() : saved_{::dup(STDOUT_FILENO)} {
        EXPECT_EQ(::pipe(pipe_), 0);
        ::dup2(pipe_[1], STDOUT_FILENO);
    }
    ~console() override {
        ::dup2(saved_, STDOUT_FILENO);
        ::close(saved_);
        ::close(pipe_[0]);
        ::close(pipe_[1]);
    }
    int pipe_[2]{};
    int saved_;
};

TEST_F(console, line_that_nobody_will_read_is_dropped_without_a_signal) {
    ::close(pipe_[0]);
    zel::console_line_t{} << "into the void";
    SUCCEED();  // SIGPIPE would have ended the test
    pipe_[0] = ::open("/dev/null", O_RDONLY);
}

TEST_F(console, line_never_waits_for_a_reader_that_has_stopped_reading) {
    for (int i = 0; i < 5'000; ++i) {
        zel::console_line_t{} << "line " << i << std::string(40, '.');
    }
    char text[8]{};
    ASSERT_EQ(::read(pipe_[0], text, 7), 7);
    EXPECT_STREQ(text, "line 0.");
}

}  // namespace
