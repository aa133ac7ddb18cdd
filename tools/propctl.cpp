// propctl: reads, sets and follows properties of the unit's property engine.

#include "platform/version.h"
#include "tools/property_tool.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <string>

static int run(int argc, char** argv) {
    CLI::App app{"", "propctl"};
    app.formatter_fn([](const CLI::App*, const std::string&, CLI::AppFormatMode) {
        return std::string{tools::property_tool_t::help};
    });
    app.set_version_flag("--version", std::string{zel::version_text()});
    // What stands behind a command is the property tool's, to the letter: a value may begin with a "-".
    app.prefix_command();
    for (const auto& command : tools::property_tool_t::commands) {
        app.add_subcommand(std::string{command.word})->prefix_command();
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& asked) {
        return app.exit(asked);
    } catch (const CLI::ParseError& error) {
        std::fprintf(stderr, "propctl: %s, see --help\n", error.what());
        return tools::property_tool_t::bad_usage;
    }
    tools::property_tool_t::words_t words{argv + 1, argv + argc};
    // A "--" beside the command only says that no options follow.
    const auto beside = words.begin() + std::min<std::ptrdiff_t>(2, argc - 1);
    if (const auto mark = std::find(words.begin(), beside, "--"); mark != beside) {
        words.erase(mark);
    }
    zel::property_client_t client;
    return tools::property_tool_t{client, stdout, stderr}.run(words);
}

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "propctl: %s\n", error.what());
        return 1;
    }
}
