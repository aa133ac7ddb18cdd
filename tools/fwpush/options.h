#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace fwpush {

/// What the operator asks for.
struct options_t {
    std::string image;               ///< empty: only watch
    std::vector<std::string> units;  ///< as named, on the command line and in the list
    unsigned jobs = 16;              ///< uploads at once
    bool force = false;
    bool await_return = false;
    unsigned min_compat = 0;
    std::chrono::milliseconds timeout{};
    std::chrono::milliseconds grace{};
    std::chrono::milliseconds stall{};  ///< zero: an update may stand still
    std::string user;                   ///< "name:password"; empty without one
    std::string ca_file;
    bool json = false;
    bool progress = true;
};

/// How the program ends.
enum exit_e : int { all_well = 0, not_all_well = 1, usage = 2, no_image = 3 };

/// Reads the command line.
/// @param exit_status  set when there are no options to return: the call asked for help, or was wrong. It has
///                     been answered on standard output or error then.
[[nodiscard]] std::optional<options_t> read_options(int argc, char** argv, int& exit_status);

}  // namespace fwpush
