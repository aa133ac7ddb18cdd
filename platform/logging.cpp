#include "platform/logging.h"

#include "platform/build_info.h"
#include "platform/json_file.h"
#include "platform/paths.h"
#include "platform/system_path.h"

#include <spdlog/cfg/argv.h>
#include <spdlog/cfg/env.h>
#include <spdlog/sinks/dist_sink.h>
#include <spdlog/sinks/stdout_color_sinks.h>
#include <spdlog/sinks/syslog_sink.h>
#include <spdlog/spdlog.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <optional>
#include <utility>

namespace zel {

namespace {

// Held by pointer and never freed: loggers may write until the very end of the process.
struct logging_state_t {
    std::shared_ptr<spdlog::sinks::dist_sink_mt> sinks = std::make_shared<spdlog::sinks::dist_sink_mt>();
    std::string program_name;
};

logging_state_t& state() {
    static auto& instance = *new logging_state_t;
    return instance;
}

struct named_level_t {
    std::string_view name;
    log_level_e level;
};

constexpr std::array<named_level_t, 8> named_levels{{{"off", log_level_e::off},
                                                     {"critical", log_level_e::critical},
                                                     {"error", log_level_e::error},
                                                     {"warning", log_level_e::warning},
                                                     {"info", log_level_e::info},
                                                     {"notice", log_level_e::info},
                                                     {"debug", log_level_e::debug},
                                                     {"trace", log_level_e::trace}}};

std::optional<log_level_e> find_level(std::string_view lower_case_name) {
    const auto* const found = std::ranges::find(named_levels, lower_case_name, &named_level_t::name);
    return found == named_levels.end() ? std::nullopt : std::optional{found->level};
}

// ASCII, whatever the locale.
std::string lower_case(std::string_view text) {
    std::string lower{text};
    std::ranges::transform(lower, lower.begin(), [](char character) {
        return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
    });
    return lower;
}

void apply_level(spdlog::logger& logger, log_level_e level) {
    const auto library_level = static_cast<spdlog::level::level_enum>(level);
    logger.set_level(library_level);
    logger.flush_on(library_level);
}

// A path inside single quotes, where the shell leaves every character but the quote itself alone.
std::string shell_quoted(const std::string& path) {
    std::string quoted{"'"};
    for (const char character : path) {
        if (character == '\'') {
            quoted += "'\\''";
        } else {
            quoted += character;
        }
    }
    return quoted + '\'';
}

void use_sinks_of(const std::shared_ptr<spdlog::logger>& logger) {
    if (logger) {
        for (const auto& sink : logger->sinks()) {
            if (sink != state().sinks) {
                add_log_sink(sink);
            }
        }
    }
}

void make_default_logger(const std::string& name) {
    spdlog::drop(name);
    auto logger = std::make_shared<spdlog::logger>(name, state().sinks);
    set_process_logger(logger);
    spdlog::set_default_logger(std::move(logger));
}

void apply_levels(const rapidjson::Value& levels) {
    for (const auto& member : levels.GetObject()) {
        const auto logger = spdlog::get(member.name.GetString());
        if (logger && member.value.IsString()) {
            apply_level(*logger, parse_level(member.value.GetString()));
        }
    }
}

}  // namespace

void register_logger(const std::string& name) {
    if (spdlog::get(name)) {
        return;
    }
    auto logger = std::make_shared<spdlog::logger>(name, state().sinks);
    logger->set_level(spdlog::level::info);
    spdlog::register_logger(std::move(logger));
}

void setup_logging(const std::string& argv0, const std::string& sink_kind) {
    try {
        // npos + 1 is 0: without a "/" the whole text is the name.
        state().program_name = argv0.substr(argv0.rfind('/') + 1);
        // Looked up first: it may have the program's own name.
        const auto shared = spdlog::get(sink_kind);
        make_default_logger(state().program_name);
        if (sink_kind.empty()) {
            // The system log adds time and identity itself, so it gets the bare text.
            constexpr bool with_pattern = false;
            auto sink = std::make_shared<spdlog::sinks::syslog_sink_mt>(
                state().program_name, LOG_CONS | LOG_ODELAY, LOG_USER, with_pattern);
            sink->set_level(spdlog::level::trace);
            add_log_sink(sink);
            apply_level_file(state().program_name);
        } else if (sink_kind == "stdout_color_sink_mt") {
            auto sink = std::make_shared<spdlog::sinks::stdout_color_sink_mt>();
            sink->set_pattern(long_log_pattern);
            add_log_sink(sink);
        } else if (sink_kind == "stdout_color_sink_st") {
            auto sink = std::make_shared<spdlog::sinks::stdout_color_sink_st>();
            sink->set_pattern(long_log_pattern);
            add_log_sink(sink);
        } else {
            use_sinks_of(shared);
        }
    } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): a program runs on without its log
    }
}

void setup_logging_with_environment(const std::string& argv0, const std::string& sink_kind) {
    setup_logging(argv0, sink_kind);
    spdlog::cfg::load_env_levels();
}

void setup_logging_with_arguments(int argc, const char* const* argv, const std::string& sink_kind) {
    setup_logging(argc > 0 ? argv[0] : "", sink_kind);
    spdlog::cfg::load_argv_levels(argc, const_cast<const char**>(argv));  // NOLINT: reads only
}

void add_log_sink(const std::shared_ptr<spdlog::sinks::sink>& sink) {
    state().sinks->add_sink(sink);
}

std::string program_name() {
    return state().program_name;
}

log_level_e parse_level(std::string_view text) {
    // Two spellings of each name count: "warning" and "Warning".
    return find_level(
               lower_case(text.substr(0, 1)).append(text.substr(std::min<std::size_t>(1, text.size()))))
        .value_or(log_level_e::info);
}

bool set_logger_level(const std::string& logger_name, std::string_view level_name) {
    const auto logger = spdlog::get(logger_name);
    const auto level = find_level(lower_case(level_name));
    if (logger_name.empty() || !logger || !level) {
        return false;
    }
    apply_level(*logger, *level);
    return true;
}

void apply_level_file(const std::string& program_name) {
    try {
        const std::string path = std::string{paths::level_file_prefix} + program_name + ".json";
        rapidjson::Document document;
        if (!read_json_object(path, document)) {
            return;
        }
        const auto written_for = string_member(document, "git_revision");
        if (!written_for) {
            return;
        }
        std::string running;
        read_build_revision(running);
        if (*written_for != running) {
            const auto command = "/bin/rm -rf " + shell_quoted(system_path(path));
            [[maybe_unused]] const int status = std::system(command.c_str());  // NOLINT(cert-env33-c)
            return;
        }
        const auto& content = std::as_const(document);
        const auto levels = content.FindMember(program_name.c_str());
        if (levels != content.MemberEnd() && levels->value.IsObject()) {
            apply_levels(levels->value);
        }
    } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): levels stay as they are
    }
}

}  // namespace zel
