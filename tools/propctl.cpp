// propctl: reads, sets and follows properties of the unit's property engine.

#include "platform/version.h"
#include "tools/property_tool.h"

#include <CLI/CLI.hpp>

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
    auto words = app.remaining();
    for (const auto* const command : app.get_subcommands()) {
        const auto arguments = command->remaining();
        words.push_back(command->get_name());
        words.insert(words.end(), arguments.begin(), arguments.end());
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
