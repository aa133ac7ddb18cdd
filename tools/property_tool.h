#pragma once

#include "ipc/property_client.h"

#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

/// What stands behind the command lines of the tools.
namespace tools {

/// The property tool "propctl": reads, sets and follows properties of the unit's property engine, as its help
/// says. One object serves one command line.
class property_tool_t {
  public:
    // Exit status
    static constexpr int done = 0;
    static constexpr int no_property = 1;
    static constexpr int not_written = 1;  ///< what was asked for did not get to the output
    static constexpr int bad_usage = 2;
    static constexpr int no_engine = 3;  ///< or none that answers

    using words_t = std::vector<std::string>;

    struct command_t {
        std::string_view word;
        std::size_t fewest;
        std::size_t most;
        int (property_tool_t::*run)(const words_t& arguments);
    };
    static const command_t commands[5];
    static const char* const help;

    /// @param client  connected when the command line turns out right, unless it is connected already.
    /// @param output  where properties go; `errors` takes everything else. Both stay open.
    property_tool_t(zel::property_client_t& client, std::FILE* output, std::FILE* errors)
        : client_{client}, output_{output}, errors_{errors} {}

    /// Runs a command line, given without the program's name. Blocks up to a second for every answer of the
    /// engine; "monitor" goes on until the engine goes.
    /// @return the exit status.
    [[nodiscard]] int run(const words_t& words);

  private:
    [[nodiscard]] int get(const words_t& names);
    [[nodiscard]] int set(const words_t& arguments);
    [[nodiscard]] int create(const words_t& arguments);
    [[nodiscard]] int list(const words_t& arguments);
    [[nodiscard]] int monitor(const words_t& names);

    /// Asks for a property's changes. The value need not be known, only the property; changes that come
    /// meanwhile are dropped.
    [[nodiscard]] int follow(const std::string& name);
    /// Asks for one property and takes messages up to the answer.
    [[nodiscard]] int read(const std::string& name, std::string& value);
    /// Takes a message. A malformed one at the end of what has arrived counts: it has a type, silence has
    /// none.
    [[nodiscard]] bool next(std::string& type, std::string& name, std::string& value, int timeout_ms);
    void print_line(const std::string& name, const std::string& value);
    int fail(int status, const std::string& text);
    int lost();
    int unknown(const std::string& name);

    zel::property_client_t& client_;
    std::FILE* output_;
    std::FILE* errors_;
};

}  // namespace tools
