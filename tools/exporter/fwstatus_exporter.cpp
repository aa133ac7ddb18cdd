// fwstatus-exporter: units' update states for Prometheus.

#include "platform/version.h"
#include "tools/exporter/exporter.h"
#include "tools/exporter/web_server.h"

#include <CLI/CLI.hpp>
#include <curl/curl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

constexpr int bad_usage = 2;
constexpr const char* footer =
    "An entry of --allow is a name, an address or a network such as 10.0.0.0/24, with :PORT, with :* for\n"
    "every port, or without for the units' usual one. Nothing is allowed unless it is said. SIGHUP reads\n"
    "the files anew.\n"
    "\n"
    "Exit status: 0 ended by SIGTERM or SIGINT, 1 a file cannot be read or the address not be listened on,\n"
    "2 wrong usage.";

struct options_t {
    std::string listen = "127.0.0.1:9717";
    std::vector<std::string> allowed;
    std::vector<std::string> allowed_files;
    exporter::exporter_t::settings_t exporter;
};

void say(const std::string& text) {
    std::cerr << "fwstatus-exporter: " + text + "\n";
}

exporter::allow_list_t read_list(const options_t& options) {
    exporter::allow_list_t list{exporter::exporter_t::usual_port(options.exporter.probe)};
    for (const auto& entry : options.allowed) {
        list.add(entry);
    }
    for (const auto& file : options.allowed_files) {
        list.add_file(file);
    }
    return list;
}

void declare_options(CLI::App& app, options_t& options, double& timeout) {
    app.add_option("--allow", options.allowed, "units that may be asked; may be repeated")
        ->type_name("ENTRY");
    app.add_option("--allow-file", options.allowed_files, "the same from a file, one a line")
        ->type_name("FILE");
    app.add_option("--listen", options.listen, "where to answer, ADDRESS:PORT; port 0 for any free one")
        ->capture_default_str();
    app.add_option("--timeout", timeout, "seconds for one unit; less when Prometheus waits less")
        ->capture_default_str()
        ->check(CLI::Range(0.1, 600.0));
    app.add_option("--concurrency", options.exporter.most_at_once, "units asked at the same time")
        ->capture_default_str()
        ->check(CLI::Range(1, 1000));
    app.add_flag("--https", options.exporter.probe.https, "ask by https, port 443");
    app.add_option("--cacert", options.exporter.probe.certificates, "authorities to trust with --https")
        ->type_name("FILE")
        ->check(CLI::ExistingFile);
    app.set_version_flag("--version", std::string{zel::version_text()});
    app.footer(footer);
}

// Reads the files anew, and goes on with the old entries when they cannot be read.
void reload(const options_t& options, exporter::exporter_t& exporter) {
    try {
        auto list = read_list(options);
        say("read anew: " + std::to_string(list.size()) + " entries");
        exporter.allow(std::move(list));
    } catch (const std::exception& fault) {
        say(std::string{fault.what()} + "; the entries stay as they were");
    }
}

// "ADDRESS:PORT", or an address of IPv6 in brackets; port -1 when it is none of them.
std::pair<std::string, int> split_listen(const std::string& text) {
    const auto colon = std::min(text.rfind(':'), text.size());
    auto address = text.substr(0, colon);
    if (address.starts_with('[') && address.ends_with(']')) {
        address = address.substr(1, address.size() - 2);
    }
    const auto port = text.substr(std::min(colon + 1, text.size()));
    if (port == "0") {
        return {address, 0};
    }
    const auto number = exporter::parse_port(port);
    return {address, number ? *number : -1};
}

// Waits for signals, which every other thread has blocked, until one ends the server.
void obey_signals(const sigset_t& signals, const options_t& options, exporter::exporter_t& exporter,
                  exporter::web_server_t& server) {
    for (int signal = SIGHUP; signal == SIGHUP;) {
        sigwait(&signals, &signal);
        if (signal == SIGHUP) {
            reload(options, exporter);
        }
    }
    server.stop();
}

int run(const options_t& options) {
    const auto [address, port] = split_listen(options.listen);
    if (port < 0) {
        say("--listen: \"" + options.listen + "\" is no ADDRESS:PORT");
        return bad_usage;
    }
    exporter::exporter_t exporter{options.exporter};
    auto list = read_list(options);
    const auto entries = list.size();
    exporter.allow(std::move(list));

    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        sigaddset(&signals, signal);
    }
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    // Requests that wait for their turn take threads too, and so does a question about the exporter itself.
    exporter::web_server_t server{exporter, 2 * static_cast<std::size_t>(options.exporter.most_at_once) + 2};
    const int bound = server.bind(address, port);
    if (bound == 0) {
        say("cannot listen on " + options.listen);
        return EXIT_FAILURE;
    }
    say("listening on " + options.listen.substr(0, options.listen.rfind(':')) + ":" + std::to_string(bound) +
        ", " + std::to_string(entries) + " entries of units that may be asked" +
        (entries == 0 ? ": none may, see --allow" : ""));
    std::thread obedience{[&] { obey_signals(signals, options, exporter, server); }};
    const bool asked_to = server.serve();
    ::kill(::getpid(), SIGTERM);  // ends the thread if nothing else has
    obedience.join();
    return asked_to ? EXIT_SUCCESS : EXIT_FAILURE;
}

int parse_and_run(int argc, char** argv) {
    options_t options;
    double timeout = std::chrono::duration<double>{options.exporter.timeout}.count();
    CLI::App app{"Tells Prometheus of the firmware updates of units: GET /probe?target=HOST asks that unit.",
                 "fwstatus-exporter"};
    declare_options(app, options, timeout);
    try {
        app.parse(argc, argv);
        if (std::isnan(timeout)) {  // which no range excludes
            throw CLI::ValidationError{"--timeout", "is no number"};
        }
    } catch (const CLI::ParseError& fault) {
        return app.exit(fault) == 0 ? EXIT_SUCCESS : bad_usage;
    }
    options.exporter.timeout = std::chrono::milliseconds{std::lround(1000 * timeout)};
    curl_global_init(CURL_GLOBAL_DEFAULT);
    return run(options);
}

int give_up(const std::exception& fault, int status) {
    std::fprintf(stderr, "fwstatus-exporter: %s\n", fault.what());
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return parse_and_run(argc, argv);
    } catch (const std::invalid_argument& fault) {
        return give_up(fault, bad_usage);
    } catch (const std::exception& fault) {
        return give_up(fault, EXIT_FAILURE);
    }
}
