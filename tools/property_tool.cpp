#include "tools/property_tool.h"

#include "platform/paths.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <limits>

namespace tools {

namespace {

constexpr int answer_ms = 1000;

constexpr auto any_number = std::numeric_limits<std::size_t>::max();

bool fits_a_message(const property_tool_t::words_t& arguments) {
    std::size_t total = 0;
    for (const auto& argument : arguments) {
        total += argument.size();
    }
    return total <= zel::frame::max_texts;
}

}  // namespace

const char* const property_tool_t::help =
    "Reads, sets and follows properties of the unit's property engine.\n"
    "\n"
    "  propctl get NAME...          prints the values, one a line\n"
    "  propctl set NAME VALUE       sets an existing property\n"
    "  propctl create NAME [VALUE]  makes a property, and sets it\n"
    "  propctl list [PREFIX]        prints NAME=VALUE for the properties whose names\n"
    "                               begin with PREFIX, or for all, as far as the\n"
    "                               engine supports it\n"
    "  propctl monitor NAME...      prints NAME=VALUE now and at every change, until\n"
    "                               interrupted; without a value, once it has one\n"
    "  propctl --version\n"
    "\n"
    "Exit status: 0 done, 1 no such property, it kept its value, or the output\n"
    "cannot be written, 2 wrong usage, 3 no property engine, or none that answers.\n";

const property_tool_t::command_t property_tool_t::commands[5] = {
    {"get", 1, any_number, &property_tool_t::get},
    {"set", 2, 2, &property_tool_t::set},
    {"create", 1, 2, &property_tool_t::create},
    {"list", 0, 1, &property_tool_t::list},
    {"monitor", 1, any_number, &property_tool_t::monitor}};

int property_tool_t::run(const words_t& words) {
    if (words.empty()) {
        std::fputs(help, errors_);
        return bad_usage;
    }
    const auto* const command = std::find_if(std::begin(commands), std::end(commands),
                                             [&](const command_t& entry) { return entry.word == words[0]; });
    if (command == std::end(commands)) {
        return fail(bad_usage, "unknown command \"" + words[0] + "\", see --help");
    }
    const words_t arguments{words.begin() + 1, words.end()};
    if (arguments.size() < command->fewest || arguments.size() > command->most) {
        return fail(bad_usage, "wrong number of arguments for " + words[0] + ", see --help");
    }
    if (!fits_a_message(arguments)) {
        return fail(bad_usage, "name and value are too long for a message");
    }
    if (!client_.is_connected() && !client_.connect()) {
        return fail(no_engine, "cannot reach the property engine at " +
                                   std::string{zel::paths::property_engine} + ": " + std::strerror(errno));
    }
    const int status = (this->*command->run)(arguments);
    const bool is_written = std::fflush(output_) == 0 && std::ferror(output_) == 0;
    return status == done && !is_written ? fail(not_written, "cannot write to standard output") : status;
}

int property_tool_t::get(const words_t& names) {
    for (const auto& name : names) {
        std::string value;
        if (const int status = read(name, value); status != done) {
            return status;
        }
        std::fprintf(output_, "%s\n", value.c_str());
    }
    return done;
}

int property_tool_t::set(const words_t& arguments) {
    const auto& name = arguments[0];
    if (!client_.set(name, arguments[1])) {
        return lost();
    }
    // The engine confirms nothing; reading it back shows that it took the request.
    std::string value;
    if (const int status = read(name, value); status != done) {
        return status;
    }
    if (value != arguments[1]) {
        return fail(no_property, name + " is \"" + value + "\" all the same");
    }
    return done;
}

int property_tool_t::create(const words_t& arguments) {
    if (!client_.create(arguments[0])) {
        return lost();
    }
    return arguments.size() == 2 ? set(arguments) : follow(arguments[0]);
}

int property_tool_t::list(const words_t& arguments) {
    // Requests are answered in order and a list has no end mark: the refusal of a nameless property is one.
    const bool sent = arguments.empty() ? client_.get_all() : client_.list(arguments.front());
    if (!sent || !client_.get("")) {
        return lost();
    }
    bool any = false;
    std::string type;
    std::string name;
    std::string value;
    while (next(type, name, value, answer_ms)) {
        if (type == "get_response") {
            print_line(name, value);
            any = true;
        } else if (type == "error" && name == "no_property") {
            return any ? done : unknown(arguments.empty() ? "there are none" : arguments.front() + "...");
        }
    }
    return lost();
}

int property_tool_t::monitor(const words_t& names) {
    for (const auto& name : names) {
        if (const int status = follow(name); status != done) {
            return status;
        }
    }
    // The values come after the last change that `follow` may have let pass.
    for (const auto& name : names) {
        if (!client_.get(name)) {
            return lost();
        }
    }
    constexpr int for_ever = -1;
    std::string type;
    std::string name;
    std::string value;
    while (std::ferror(output_) == 0 && next(type, name, value, for_ever)) {
        if (type == "changed" || type == "get_response") {
            print_line(name, value);
        }
    }
    return std::ferror(output_) != 0 ? done : fail(no_engine, "the property engine has gone");
}

int property_tool_t::follow(const std::string& name) {
    // An engine refuses to follow what it does not know and says nothing otherwise: the refusal of a nameless
    // property tells that it has come past the request.
    if (!client_.monitor(name) || !client_.get("")) {
        return lost();
    }
    std::string type;
    std::string reply_name;
    std::string value;
    while (next(type, reply_name, value, answer_ms)) {
        if (type == "error" && reply_name == "no_property") {
            return value == name ? unknown(name) : done;
        }
    }
    return lost();
}

int property_tool_t::read(const std::string& name, std::string& value) {
    if (!client_.get(name)) {
        return lost();
    }
    std::string type;
    std::string reply_name;
    while (next(type, reply_name, value, answer_ms)) {
        if (type == "get_response" && reply_name == name) {
            return done;
        }
        if (type == "error" && reply_name == "no_property") {
            return unknown(name);
        }
    }
    return lost();
}

bool property_tool_t::next(std::string& type, std::string& name, std::string& value, int timeout_ms) {
    return client_.receive_message(type, name, value, timeout_ms) || !type.empty();
}

void property_tool_t::print_line(const std::string& name, const std::string& value) {
    std::fprintf(output_, "%s=%s\n", name.c_str(), value.c_str());
    std::fflush(output_);
}

int property_tool_t::fail(int status, const std::string& text) {
    std::fprintf(errors_, "propctl: %s\n", text.c_str());
    return status;
}

int property_tool_t::lost() {
    return fail(no_engine, "the property engine does not answer");
}

int property_tool_t::unknown(const std::string& name) {
    return fail(no_property, "no such property: " + name);
}

}  // namespace tools
