#include "tools/unitctl/runner.h"

#include "platform/logger_names.h"
#include "platform/logging.h"
#include "platform/version.h"
#include "tools/unitctl/families.h"

#include <spdlog/sinks/stdout_sinks.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <string_view>

namespace tools::unitctl {

namespace {

constexpr const char* description = "Every operation of a unit's drivers by hand: is the panel found, does "
                                    "each LED light, do the keys report.\n"
                                    "Resets nothing unless a command says so.";
constexpr const char* footer = "A text that begins with \"-\" goes behind \"--\": lcd text 0 -- -hello\nExit "
                               "status: 0 done, 1 refused or failed, 2 wrong usage.";

/// Help of all commands that goes down to the last of them; the library's own stops below the first group.
class whole_help_t : public CLI::Formatter {
  public:
    [[nodiscard]] std::string make_subcommands(const CLI::App* app, CLI::AppFormatMode mode) const override {
        const bool is_below = mode == CLI::AppFormatMode::Sub;
        return CLI::Formatter::make_subcommands(app, is_below ? CLI::AppFormatMode::All : mode);
    }
};

/// What a command line sets for itself alone.
class restored_settings_t {
  public:
    explicit restored_settings_t(session_t& session)
        : session_{session}, force_{session.force}, cold_{session.cold}, trace_{session.trace()} {}
    restored_settings_t(const restored_settings_t&) = delete;
    restored_settings_t& operator=(const restored_settings_t&) = delete;
    ~restored_settings_t() {
        session_.force = force_;
        session_.cold = cold_;
        session_.set_trace(trace_);
    }

  private:
    session_t& session_;
    bool force_;
    bool cold_;
    trace_e trace_;
};

/// Such as "-hello", of which the library would take the "-h" and leave the rest: no other option has one
/// letter. Numbers may begin with a "-".
bool is_no_option(const std::string& word) {
    return word.size() > 1 && word[0] == '-' && word[1] != '-' && word != "-h" &&
           std::string_view{"0123456789."}.find(word[1]) == std::string_view::npos;
}

/// The commands that may stand behind the words given, when these are such as "alert" and not a command yet.
std::string commands_below(const CLI::App& app) {
    const auto* last = &app;
    while (!last->get_subcommands().empty()) {
        last = last->get_subcommands().front();
    }
    std::string names;
    for (const auto* const command : last->get_subcommands([](const CLI::App*) { return true; })) {
        names += (names.empty() ? "" : ", ") + command->get_name();
    }
    return last == &app ? "" : names;
}

}  // namespace

int runner_t::run(const words_t& words) {
    const auto end_of_options = std::ranges::find(words, "--");
    const auto strange = std::find_if(words.begin(), end_of_options, is_no_option);
    if (strange != end_of_options) {
        return report_no_option(*strange);
    }
    const restored_settings_t restored{session_};
    CLI::App app{description, "unitctl"};
    add_commands(app);
    const int status = parse(app, words);
    session_.print_accesses();
    return status;
}

int runner_t::parse(CLI::App& app, const words_t& words) {
    try {
        app.parse(words_t{words.rbegin(), words.rend()});
        return script_status_;
    } catch (const CLI::ParseError& error) {
        // Found to lack a command before it is found to hold a word that is none.
        const auto unknown = app.remaining(true);
        const bool is_required = error.get_exit_code() == static_cast<int>(CLI::ExitCodes::RequiredError);
        if (is_required && !unknown.empty()) {
            if (unknown.front().starts_with('-')) {
                return report_no_option(unknown.front());
            }
            return report(bad_usage, "no command \"" + unknown.front() + "\" here; see --help");
        }
        if (const auto choice = commands_below(app); !choice.empty() && is_required) {
            return report(bad_usage, "what? " + choice + "; see --help");
        }
        auto& errors = in_script_ ? std::cout : std::cerr;
        return app.exit(error, std::cout, errors) == 0 ? done : bad_usage;
    } catch (const std::exception& error) {
        return report(refused, error.what());
    }
}

int runner_t::report_no_option(const std::string& word) const {
    return report(bad_usage, word + R"( is no option; a text that begins with "-" goes behind "--")");
}

int runner_t::report(int status, const std::string& text) const {
    if (in_script_) {
        std::printf("%s%s%s\n", status == refused ? "refused" : "wrong usage", text.empty() ? "" : ": ",
                    text.c_str());
    } else {
        std::fprintf(stderr, "unitctl: %s\n", text.empty() ? "refused, or failed" : text.c_str());
    }
    return status;
}

void runner_t::add_commands(CLI::App& app) {
    app.formatter(std::make_shared<whole_help_t>());
    app.require_subcommand(1);
    app.fallthrough();
    app.footer(footer);
    app.set_help_all_flag("--help-all", "Print the help of every command and exit");
    app.set_version_flag("--version", std::string{zel::version_text()});
    app.add_flag("--force", session_.force,
                 "Go on although the daemon holds the display, or the unit is known to have no such device");
    app.add_flag("--cold", session_.cold, "Use the drivers without bringing them up first");
    app.add_flag_callback(
        "--trace", [this] { session_.set_trace(trace_e::all); }, "Print every access to device memory");
    app.add_flag_callback(
        "--count", [this] { session_.set_trace(trace_e::count); }, "Print the number of accesses");
    app.add_flag_callback(
        "--no-trace", [this] { session_.set_trace(trace_e::off); },
        "Print no accesses, in a script that is traced");
    add_info_command(app, session_);
    add_controller_commands(app, session_);
    add_input_commands(app, session_);
    add_panel_commands(app, session_);
    add_lcd_commands(app, session_);
    add_station_commands(app, session_);
    add_keypad_commands(app, session_);
    add_serial_commands(app, session_);
    add_port_commands(app, session_);
    add_register_commands(app, session_);
    add_attribute_commands(app, session_);
    if (extension_) {
        extension_(app, session_);
    }
    if (!in_script_) {
        add_command<std::string>(app, "run", "Runs the commands of a script, one a line",
                                 {{{"FILE", "The script, or - for standard input"}}},
                                 [this](const std::string& path) { run_script(path); });
    }
}

void runner_t::run_script(const std::string& path) {
    std::ifstream file;
    if (path != "-") {
        file.open(path);
        if (!file) {
            throw refusal_t{"cannot open " + path};
        }
    }
    auto& script = path == "-" ? std::cin : file;
    in_script_ = true;
    int highest = done;
    for (std::string line; std::getline(script, line);) {
        int status = done;
        try {
            const auto words = split(line);
            if (words.empty()) {
                continue;
            }
            std::printf("> %s\n", line.c_str());
            status = run(words);
        } catch (const refusal_t& error) {
            std::printf("> %s\n", line.c_str());
            status = report(bad_usage, error.what());
        }
        highest = std::max(highest, status);
    }
    in_script_ = false;
    const bool is_read = script.eof() && (path != "-" || std::ferror(stdin) == 0);
    script_status_ = is_read ? highest : std::max(highest, report(refused, "cannot read " + path));
}

runner_t::words_t runner_t::split(const std::string& line) {
    words_t words;
    bool in_word = false;
    bool is_escaped = false;
    char quote = '\0';
    for (const char character : line) {
        const bool is_space = character == ' ' || character == '\t' || character == '\r';
        if (quote != '\0') {
            if (is_escaped) {
                words.back() += character == 'n' ? '\n' : character;
                is_escaped = false;
            } else if (character == '\\' && quote == '"') {
                is_escaped = true;
            } else if (character == quote) {
                quote = '\0';
            } else {
                words.back() += character;
            }
            continue;
        }
        if (is_space || (character == '#' && !in_word)) {
            if (character == '#') {
                break;
            }
            in_word = false;
            continue;
        }
        if (!in_word) {
            words.emplace_back();
            in_word = true;
        }
        if (character == '"' || character == '\'') {
            quote = character;
        } else {
            words.back() += character;
        }
    }
    if (quote != '\0') {
        throw refusal_t{"a quotation mark is left open"};
    }
    return words;
}

int run_program(int argc, char** argv, runner_t::extension_t extension) {
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);  // NOLINT(cert-err33-c): the drivers write by themselves
    std::signal(SIGPIPE, SIG_DFL);                  // NOLINT(cert-err33-c)
    for (const auto* const name :
         {zel::loggers::io, zel::loggers::page_station, zel::loggers::serial_panel}) {
        zel::register_logger(name);
    }
    zel::setup_logging_with_environment(argv[0], "none but the one below");
    const auto sink = std::make_shared<spdlog::sinks::stdout_sink_mt>();
    sink->set_pattern("%n %l: %v");
    zel::add_log_sink(sink);
    runner_t runner{std::move(extension)};
    const int status = runner.run({argv + std::min(argc, 1), argv + argc});
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        std::fputs("unitctl: cannot write to standard output\n", stderr);
        return std::max(status, runner_t::refused);
    }
    return status;
}

}  // namespace tools::unitctl
