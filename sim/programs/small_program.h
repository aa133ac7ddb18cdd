#pragma once

#include <cstddef>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace sim {

/// A program whose command line is a few words in their order. What such a word means is the program's
/// business; only -h, --help and --version are not.
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

/// @return the exit status: that of `run`; 0 when help or version was asked for; 2 for wrong usage and 1 when
/// `run`
///         threw anything else, both told on standard error
int run_program(const small_program_t& program, int argc, char** argv);

}  // namespace sim
