#include "platform/console.h"
#include "platform/logging.h"
#include "platform/product_tables.h"
#include "sim/peers/pseudo_terminal.h"
#include "sim/root/log_file.h"
#include "sim/root/unit_root.h"

#include <gtest/gtest.h>
#include <spdlog/sinks/ringbuffer_sink.h>
#include <spdlog/spdlog.h>
#include <unistd.h>

#include <cstdarg>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

namespace {

std::string system_log;

void log_a_record(int priority, const char* format, std::string_view record) {
    EXPECT_STREQ(format, "%.*s");
    system_log.append(std::to_string(priority)).append(" ").append(record).append("\n");
}

}  // namespace

// These stand before the C library's, which would not say what they were given. A hardened build calls the
// second form of syslog.
extern "C" void openlog(const char* ident, int option, int facility) {
    system_log += std::string{ident} + ' ' + std::to_string(option) + ' ' + std::to_string(facility) + '\n';
}
extern "C" void syslog(int priority, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const auto length = static_cast<std::size_t>(va_arg(arguments, int));
    log_a_record(priority, format, {va_arg(arguments, const char*), length});
    va_end(arguments);
}
// NOLINTNEXTLINE(bugprone-reserved-identifier): the C library's name
extern "C" void __syslog_chk(int priority, int /*checks*/, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const auto length = static_cast<std::size_t>(va_arg(arguments, int));
    log_a_record(priority, format, {va_arg(arguments, const char*), length});
    va_end(arguments);
}

namespace {

using zel::log_level_e;

class level_file : public testing::Test {
  protected:
    level_file() {
        zel::register_logger("drv_io");
        zel::register_logger("lin_ipc");
    }

    // Whether a program's file stays when it is applied.
    bool stays(const std::string& text) {
        unit_.write_file("/var/rwfs2/log_level.prog.json", text);
        zel::apply_level_file("prog");
        return std::filesystem::exists(unit_.file("/var/rwfs2/log_level.prog.json"));
    }

    const sim::unit_root_t unit_{*sim::find_unit("container")};  // of build 3f9c2d1
};

TEST_F(level_file, of_this_build_sets_level_and_flush_level_of_the_loggers_that_exist) {
    EXPECT_TRUE(stays("{\n \"git_revision\": \"3f9c2d1\",\n\n"
                      R"("prog":{"nobody":"trace","drv_io":"Debug","lin_ipc":"verbose"}})"));
    EXPECT_EQ(spdlog::get("drv_io")->level(), 1);
    EXPECT_EQ(spdlog::get("drv_io")->flush_level(), 1);
    EXPECT_EQ(spdlog::get("lin_ipc")->flush_level(), 2) << "an unknown level name counts as info";
}

TEST_F(level_file, is_applied_where_a_program_logs_to_the_system_log) {
    EXPECT_TRUE(stays(R"({"git_revision":"3f9c2d1","prog":{"drv_io":"trace","lin_ipc":"trace"}})"));
    zel::set_logger_level("drv_io", "off");
    ::setenv("SPDLOG_LEVEL", "lin_ipc=critical", 1);
    zel::setup_logging_with_environment("/usr/sbin/prog", "");
    EXPECT_EQ(spdlog::get("lin_ipc")->level(), 5) << "who starts the program has the last word";
    zel::scope_logger{"drv_io", log_level_e::trace} << "50 %s";
    zel::log_error_s{} << "bare";
    EXPECT_EQ(system_log, "prog 6 8\n7 50 %s\n3 bare\n");
}

TEST_F(level_file, of_another_build_is_removed_and_changes_nothing) {
    EXPECT_FALSE(stays(R"({"git_revision":"other","prog":{"drv_io":"trace"}})"));
    EXPECT_EQ(spdlog::get("drv_io")->level(), 2);
    unit_.remove_file("/build_info.json");
    EXPECT_FALSE(stays(R"({"git_revision":"3f9c2d1"})"));
}

TEST_F(level_file, of_any_other_content_is_kept_and_ignored) {
    const std::string deep(10 << 20, '[');
    const std::string build = R"({"git_revision":"3f9c2d1",)";
    auto closed = build + R"("x":)";
    closed.append(deep).append(10 << 20, ']').append("}");
    for (const auto& text : std::vector<std::string>{"",
                                                     "[1]",
                                                     R"({"prog":{"drv_io":"trace"}})",
                                                     R"({"git_revision":7,"prog":{"drv_io":"trace"}})",
                                                     build + R"("prog":["drv_io"]})",
                                                     build + R"("prog":{"drv_io":{"trace":1}}})",
                                                     build + R"("prog":{"drv_io":"tra)",
                                                     {"\0\xff\xfe{\"git_revision\"", 18},
                                                     deep,
                                                     closed}) {
        EXPECT_TRUE(stays(text)) << text.substr(0, 80);
        EXPECT_EQ(spdlog::get("drv_io")->level(), 2) << text.substr(0, 80);
    }
}

TEST(level_names, are_known_in_two_spellings_by_the_parser_and_in_any_by_the_setter) {
    zel::register_logger("drv_io");
    const auto logger = spdlog::get("drv_io");
    for (const auto& [lower, capital, upper, level] :
         std::vector<std::tuple<const char*, const char*, const char*, int>>{
             {"trace", "Trace", "TRACE", 0},
             {"debug", "Debug", "DEBUG", 1},
             {"info", "Info", "INFO", 2},
             {"notice", "Notice", "NOTICE", 2},
             {"warning", "Warning", "WARNING", 3},
             {"error", "Error", "ERROR", 4},
             {"critical", "Critical", "CRITICAL", 5},
             {"off", "Off", "oFF", 6}}) {
        EXPECT_EQ(static_cast<int>(zel::parse_level(lower)), level);
        EXPECT_EQ(static_cast<int>(zel::parse_level(capital)), level);
        EXPECT_EQ(zel::parse_level(upper), log_level_e::info);
        EXPECT_TRUE(zel::set_logger_level("drv_io", upper));
        EXPECT_EQ(logger->level(), level);
        EXPECT_EQ(logger->flush_level(), level);
    }
    for (const auto* const unknown : {"", "warn", "verbose"}) {
        EXPECT_EQ(zel::parse_level(unknown), log_level_e::info);
        EXPECT_FALSE(zel::set_logger_level("drv_io", unknown));
    }
    EXPECT_FALSE(zel::set_logger_level("", "info") || zel::set_logger_level("nobody", "info"));
    EXPECT_EQ(logger->level(), 6);
}

TEST(set_up, names_the_default_logger_and_takes_levels_from_environment_and_arguments) {
    zel::register_logger("drv_io");
    ::setenv("SPDLOG_LEVEL", "drv_io=trace", 1);
    zel::setup_logging_with_environment("/usr/sbin/prog", "stdout_color_sink_st");
    EXPECT_EQ(spdlog::default_logger()->name(), "prog");
    EXPECT_EQ(spdlog::get("drv_io")->level(), 0);
    const char* const arguments[]{"prog2", "other", "SPDLOG_LEVEL=drv_io=warning"};
    zel::setup_logging_with_arguments(3, arguments, "no such logger");
    EXPECT_EQ(spdlog::get("drv_io")->level(), 3);
    // Sinks may be those of a logger with the program's own name, whose place its default logger takes.
    zel::register_logger("prog3");
    const auto ring = std::make_shared<spdlog::sinks::ringbuffer_sink_mt>(1);
    spdlog::get("prog3")->sinks() = {ring};
    zel::setup_logging("/usr/sbin/prog3", "prog3");
    spdlog::error("heard");
    EXPECT_EQ(ring->last_raw().size(), 1U);
}

TEST(log_line, goes_to_the_threads_current_logger_if_there_is_one_and_nowhere_without_a_logger) {
    const sim::log_capture_t log;
    zel::register_logger("own");
    zel::register_logger("current");
    zel::set_logger_level("current", "debug");
    {
        const zel::current_logger_scope_t current{spdlog::get("current")};
        { const zel::current_logger_scope_t inner{spdlog::get("own")}; }  // the outer one is back
        zel::scope_logger{"own", log_level_e::error} << "first " << 1;
        ZEL_TRACE_SCOPE(nullptr);
    }
    zel::scope_logger{"own", log_level_e::error} << "second {}";
    zel::scope_logger{"nobody", log_level_e::error} << "third";
    EXPECT_TRUE(log.has("[current] [error] first 1\n"));
    EXPECT_TRUE(log.has("[own] [error] second {}\n"));
    EXPECT_EQ(log.count("[current] [debug] ╔═══"), 1);
    EXPECT_EQ(log.count(":TestBody:"), 2);
    EXPECT_EQ(log.count("\n"), 4) << log.text();
}

TEST(log_line, of_the_process_is_dropped_before_logging_is_set_up) {
    testing::internal::CaptureStdout();
    zel::log_error_s{} << "early";
    EXPECT_EQ(zel::network_cpus(999).size(), 0u);  // with a warning
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    zel::setup_logging("prog", "none");
    const sim::log_capture_t log;
    zel::log_error_s{} << "late";
    EXPECT_TRUE(log.has("[prog] [error] late\n"));
}

struct fault_t {
    friend std::ostream& operator<<(std::ostream&, const fault_t& fault) {
        if (fault.standard) {
            throw std::runtime_error{"no such thing"};
        }
        throw 1;
    }
    bool standard;
};

struct formatted_line_t : zel::scope_logger {
    explicit formatted_line_t(bool standard) : scope_logger{"own", log_level_e::error}, fault{standard} {}
    void format() override { *this << "lost" << static_cast<const char*>(nullptr) << fault; }
    fault_t fault;
};

TEST(log_line, that_cannot_be_collected_says_why_when_it_is_formatted_and_is_lost_when_it_is_inserted) {
    const sim::log_capture_t log;
    zel::register_logger("own");
    formatted_line_t{false}.guarded_format();
    formatted_line_t{true}.guarded_format();
    zel::scope_logger{"own", log_level_e::error} << "lost" << fault_t{true} << "as well";
    formatted_line_t broken{true};
    broken.guarded_format();
    broken << fault_t{false};
    EXPECT_TRUE(log.has("[own] [error] Unknown exeption in logger\n"));
    EXPECT_TRUE(log.has("[own] [error] no such thing\n"));
    EXPECT_EQ(log.count("\n"), 2);
}

TEST(console, line_never_waits_for_a_reader) {
    const int output = ::dup(STDOUT_FILENO);
    int pipe_ends[2]{};
    ASSERT_EQ(::pipe(pipe_ends), 0);
    const sim::pseudo_terminal_t terminal;
    for (const auto& [unread, reader] :
         {std::pair{pipe_ends[1], pipe_ends[0]}, {terminal.units_end(), terminal.our_end()}}) {
        ::dup2(unread, STDOUT_FILENO);
        for (int i = 0; i < 5'000; ++i) {
            zel::console_line_t{} << "line " << i << std::string(40, '.');
        }
        ::dup2(output, STDOUT_FILENO);
        std::string text(1 << 20, '\0');
        EXPECT_GT(::read(reader, text.data(), text.size()), 1000);
        EXPECT_TRUE(text.starts_with("line 0..."));
    }
}

}  // namespace
