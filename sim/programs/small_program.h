#pragma once

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace sim {

/// A program whose command line is no more than a few words in their order; it asks for nothing but --help
/// itself.
struct small_program_t {
    using words_t = std::vector<std::string>;

    const char* name;
    const char* help;
    std::size_t most_words;
    std::function<int(const words_t&)> run;  ///< returns the exit status
};

/// What small_program_t::run throws for words that it does not know.
struct wrong_usage_t : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// @return the exit status: of run; 0 when the help was asked for, 2 with the help on standard error for
/// wrong
///         usage, 1 when run threw anything else, which is told there
int run_program(const small_program_t& program, int argc, char** argv);

}  // namespace sim
