#include "tools/fwpush/options.h"

#include "platform/version.h"
#include "tools/fwpush/password.h"
#include "tools/fwpush/unit_address.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace fwpush {

namespace {

constexpr double longest_seconds = 86400;
constexpr std::chrono::milliseconds for_ever = std::chrono::hours{24 * 365};
constexpr const char* footer = R"(
UNIT is a host, host:port, or a URL. Every unit is asked for the hash of its firmware; it gets the image
unless it has it already, and its update is followed to the end. The image's SHA-256 is compared.

Exit status: 0 when every unit is complete or up to date, 1 when one is not, 2 for wrong usage, 3 when the
image cannot be read.)";

// What has to be worked on before it is an option.
struct raw_options_t {
    std::vector<std::string> names;
    std::vector<std::string> lists;
    bool watch = false;
    double timeout = 60;
    double grace = 5;
    double stall = 0;
    bool no_progress = false;
};

class formatter_t final : public CLI::Formatter {
  public:
    formatter_t() { column_width(32); }
    std::string make_usage(const CLI::App* /*app*/, std::string /*name*/) const override {
        return "usage: fwpush [option ...] IMAGE UNIT ...\n       fwpush --watch [option ...] UNIT ...\n";
    }
};

std::chrono::milliseconds milliseconds_of(double seconds) {
    if (std::isnan(seconds)) {  // which no range excludes
        throw CLI::ValidationError{"a time must be a number"};
    }
    return std::chrono::milliseconds{std::lround(seconds * 1000)};
}

// The command line, last word first. A word in brackets would be taken for a list, and lose them: the space
// that keeps the address of a unit whole is dropped in the end.
std::vector<std::string> words_of(int argc, char** argv) {
    std::vector<std::string> words(std::min(argv + 1, argv + argc), argv + argc);
    std::ranges::reverse(words);
    for (auto& word : words) {
        word.insert(0, word.starts_with('[') ? " " : "");
    }
    return words;
}

void describe(CLI::App& app, options_t& options, raw_options_t& raw) {
    app.formatter(std::make_shared<formatter_t>());
    app.footer(footer);
    app.set_help_flag("-h,--help", "this text");
    app.set_version_flag("--version", std::string{zel::version_text()})->description("the version, and end");
    app.add_option("names", raw.names)->group("");
    app.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    app.add_option("--units", raw.lists, "more units: files with one a line, # begins a comment")
        ->option_text("FILE")
        ->allow_extra_args(false)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    app.add_option("--jobs", options.jobs, "uploads at once; all units are watched")
        ->option_text("N (16)")
        ->check(CLI::Range(1U, 100'000U));
    app.add_flag("--watch", raw.watch, "follow the units' updates without sending anything");
    app.add_flag("--force", options.force, "send the image also to units that have it");
    app.add_option("--min-compat", options.min_compat, "send nothing to units with a lower fw_compat")
        ->option_text("N");
    app.add_flag("--await-return", options.await_return,
                 "after \"complete\", wait until the unit is back and runs the image");
    app.add_option("--timeout", raw.timeout, "a unit without a useful answer for so long is lost")
        ->option_text("SECONDS (60)")
        ->check(CLI::Range(0.1, longest_seconds));
    app.add_option("--grace", raw.grace, "how long a unit may take to begin; endless with --watch")
        ->option_text("SECONDS (5)")
        ->check(CLI::Range(0.0, longest_seconds));
    app.add_option("--stall", raw.stall, "an update that stands still for so long has failed; 0: it may")
        ->option_text("SECONDS (0)")
        ->check(CLI::Range(0.0, longest_seconds));
    app.add_option("--user", options.user,
                   "for units that want it; a password left out is FWPUSH_PASSWORD, or asked for")
        ->option_text("NAME[:PASSWORD]");
    app.add_option("--cacert", options.ca_file, "certificates that https units are checked against")
        ->option_text("FILE")
        ->check(CLI::ExistingFile);
    app.add_flag("--json", options.json, "one JSON object a line for every event");
    app.add_flag("--no-progress", raw.no_progress, "only the outcomes at the end");
}

void complete(const CLI::App& app, options_t& options, raw_options_t& raw) {
    for (auto& name : raw.names) {
        name.erase(0, name.starts_with(" [") ? 1 : 0);
    }
    if (!raw.watch) {
        if (raw.names.empty()) {
            throw CLI::ValidationError{"IMAGE", "is missing"};
        }
        options.image = raw.names.front();
        raw.names.erase(raw.names.begin());
    } else if (options.force || options.await_return || options.min_compat != 0) {
        throw CLI::ValidationError{"--watch", "sends nothing: no --force, --min-compat, --await-return"};
    }
    options.units = std::move(raw.names);
    for (const auto& list : raw.lists) {
        const auto listed = read_unit_list(list);
        options.units.insert(options.units.end(), listed.begin(), listed.end());
    }
    if (options.units.empty()) {
        throw CLI::ValidationError{"UNIT", "is missing"};
    }
    options.timeout = milliseconds_of(raw.timeout);
    options.grace = raw.watch && app.count("--grace") == 0 ? for_ever : milliseconds_of(raw.grace);
    options.stall = milliseconds_of(raw.stall);
    options.progress = !raw.no_progress;
    if (!options.user.empty() && options.user.find(':') == std::string::npos) {
        options.user += ":" + password_for(options.user);
    }
}

}  // namespace

std::optional<options_t> read_options(int argc, char** argv, int& exit_status) {
    options_t options;
    raw_options_t raw;
    CLI::App app{"Pushes a firmware image to units over the network and follows their updates.", "fwpush"};
    try {
        describe(app, options, raw);
        app.parse(words_of(argc, argv));
        complete(app, options, raw);
        return options;
    } catch (const CLI::Success& call) {  // --help, --version
        exit_status = app.exit(call);
    } catch (const std::exception& fault) {
        std::cerr << "fwpush: " << fault.what() << "\nSee fwpush --help.\n";
        exit_status = usage;
    }
    return std::nullopt;
}

}  // namespace fwpush
