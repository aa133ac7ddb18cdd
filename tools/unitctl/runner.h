#pragma once

#include "tools/unitctl/session.h"

#include <functional>
#include <string>
#include <vector>

namespace CLI {  // NOLINT(readability-identifier-naming): as the library has it
class App;
}

namespace tools::unitctl {

/// Runs command lines on a unit: one that a person typed, or a script of them in one process.
///
/// In a script every line is a command with its options, as it would stand behind "unitctl"; "#" begins a
/// comment, quotation marks of either kind hold words together. Each command is printed, then what it says,
/// then the accesses that were asked for. The script goes on behind a command that failed.
class runner_t {
  public:
    // Exit status
    static constexpr int done = 0;
    static constexpr int refused = 1;
    static constexpr int bad_usage = 2;

    using words_t = std::vector<std::string>;
    /// Adds commands and options that only some programs have.
    using extension_t = std::function<void(CLI::App&, session_t&)>;

    explicit runner_t(extension_t extension = {}) : extension_{std::move(extension)} {}

    /// Runs a command line, given without the program's name.
    /// @return the exit status; of a script the highest of its commands'.
    [[nodiscard]] int run(const words_t& words);

    /// The words of a line of a script. Within double quotation marks \n is a line end, and \ before
    /// another character leaves that as it is. Throws `refusal_t` for a quotation mark without its fellow.
    [[nodiscard]] static words_t split(const std::string& line);

  private:
    void add_commands(CLI::App& app);
    [[nodiscard]] int parse(CLI::App& app, const words_t& words);
    void run_script(const std::string& path);
    [[nodiscard]] int report(int status, const std::string& text) const;
    [[nodiscard]] int report_no_option(const std::string& word) const;

    extension_t extension_;
    session_t session_;
    bool in_script_ = false;
    int script_status_ = done;
};

/// What `main` of a unitctl does: logging, standard output line by line, the command line.
[[nodiscard]] int run_program(int argc, char** argv, runner_t::extension_t extension = {});

}  // namespace tools::unitctl
