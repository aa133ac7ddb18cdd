// propctl: reads, sets and follows properties of the unit's property engine.

#include "ipc/property_client.h"
#include "platform/paths.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr int done = 0;
constexpr int no_property = 1;
constexpr int bad_usage = 2;
constexpr int no_engine = 3;

constexpr int answer_ms = 1000;

constexpr const char* help =
    "Reads, sets and follows properties of the unit's property engine.\n"
    "\n"
    "  propctl get NAME...          prints the values, one a line\n"
    "  propctl set NAME VALUE       sets an existing property\n"
    "  propctl create NAME [VALUE]  makes a property, and sets it\n"
    "  propctl list [PREFIX]        prints NAME=VALUE for the properties whose names\n"
    "                               begin with PREFIX, or for all\n"
    "  propctl monitor NAME...      prints NAME=VALUE now and at every change, until\n"
    "                               interrupted\n"
    "\n"
    "Exit status: 0 done, 1 no such property, or it kept its value, 2 wrong usage,\n"
    "3 no property engine, or none that answers.\n";

using arguments_t = std::vector<std::string>;

int fail(int status, const std::string& text) {
    std::fprintf(stderr, "propctl: %s\n", text.c_str());
    return status;
}

int lost() {
    return fail(no_engine, "the property engine does not answer");
}

int unknown(const std::string& name) {
    return fail(no_property, "no such property: " + name);
}

void print_line(const std::string& name, const std::string& value) {
    std::printf("%s=%s\n", name.c_str(), value.c_str());
    std::fflush(stdout);
}

// Asks for one property and takes messages up to the answer.
int read(zel::property_client_t& client, const std::string& name, std::string& value) {
    if (!client.get(name)) {
        return lost();
    }
    std::string type;
    std::string reply_name;
    while (client.receive_message(type, reply_name, value, answer_ms)) {
        if (type == "get_response" && reply_name == name) {
            return done;
        }
        if (type == "error" && reply_name == "no_property") {
            return unknown(name);
        }
    }
    return lost();
}

int get(zel::property_client_t& client, const arguments_t& names) {
    for (const auto& name : names) {
        std::string value;
        if (const int status = read(client, name, value); status != done) {
            return status;
        }
        std::puts(value.c_str());
    }
    return done;
}

int set(zel::property_client_t& client, const arguments_t& arguments) {
    const auto& name = arguments[0];
    if (!client.set(name, arguments[1])) {
        return lost();
    }
    // The engine confirms nothing; reading it back shows that it took the request.
    std::string value;
    if (const int status = read(client, name, value); status != done) {
        return status;
    }
    if (value != arguments[1]) {
        return fail(no_property, name + " is \"" + value + "\" all the same");
    }
    return done;
}

int create(zel::property_client_t& client, const arguments_t& arguments) {
    if (!client.create(arguments[0])) {
        return lost();
    }
    if (arguments.size() == 2) {
        return set(client, arguments);
    }
    std::string value;
    return read(client, arguments[0], value);
}

int list(zel::property_client_t& client, const arguments_t& arguments) {
    // Requests are answered in order and a list has no end mark: the refusal of a nameless property is one.
    const bool sent = arguments.empty() ? client.get_all() : client.list(arguments.front());
    if (!sent || !client.get("")) {
        return lost();
    }
    bool any = false;
    std::string type;
    std::string name;
    std::string value;
    while (client.receive_message(type, name, value, answer_ms)) {
        if (type == "get_response") {
            print_line(name, value);
            any = true;
        } else if (type == "error" && name == "no_property") {
            return any ? done : unknown(arguments.empty() ? "there are none" : arguments.front() + "...");
        }
    }
    return lost();
}

int monitor(zel::property_client_t& client, const arguments_t& names) {
    // Changes first: one that comes before the answer to get is followed by that answer.
    for (const auto& name : names) {
        if (!client.monitor(name) || !client.get(name)) {
            return lost();
        }
    }
    constexpr int for_ever = -1;
    std::string type;
    std::string name;
    std::string value;
    // A malformed message at the end of what has arrived is no reason to leave; it has a type, an end has
    // not.
    while (client.receive_message(type, name, value, for_ever) || !type.empty()) {
        if (type == "changed" || type == "get_response") {
            print_line(name, value);
        } else if (name == "no_property") {
            return unknown(value);
        }
    }
    return fail(no_engine, "the property engine has gone");
}

struct command_t {
    std::string_view word;
    std::size_t fewest;
    std::size_t most;
    int (*run)(zel::property_client_t&, const arguments_t&);
};

constexpr std::size_t any_number = 1000;
constexpr std::array<command_t, 5> commands{{{"get", 1, any_number, get},
                                             {"set", 2, 2, set},
                                             {"create", 1, 2, create},
                                             {"list", 0, 1, list},
                                             {"monitor", 1, any_number, monitor}}};

bool fits_a_message(const arguments_t& arguments) {
    constexpr std::size_t most = 65'000;
    std::size_t total = 0;
    for (const auto& argument : arguments) {
        total += argument.size();
    }
    return total <= most;
}

}  // namespace

int main(int argc, char** argv) {
    const arguments_t words{argv + std::min(argc, 1), argv + argc};
    if (!words.empty() && (words[0] == "--help" || words[0] == "-h")) {
        std::fputs(help, stdout);
        return done;
    }
    if (words.empty()) {
        std::fputs(help, stderr);
        return bad_usage;
    }
    const auto* const command = std::find_if(commands.begin(), commands.end(),
                                             [&](const command_t& entry) { return entry.word == words[0]; });
    if (command == commands.end()) {
        return fail(bad_usage, "unknown command \"" + words[0] + "\", see --help");
    }
    const arguments_t arguments{words.begin() + 1, words.end()};
    if (arguments.size() < command->fewest || arguments.size() > command->most) {
        return fail(bad_usage, "wrong number of arguments for " + words[0] + ", see --help");
    }
    if (!fits_a_message(arguments)) {
        return fail(bad_usage, "name and value are too long for a message");
    }
    zel::property_client_t client;
    if (!client.connect()) {
        return fail(no_engine, "cannot reach the property engine at " +
                                   std::string{zel::paths::property_engine} + ": " + std::strerror(errno));
    }
    return command->run(client, arguments);
}
