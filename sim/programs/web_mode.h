#pragma once

#include <string>

namespace CLI {  // NOLINT(readability-identifier-naming): the library's own name
class App;
}
namespace sim {
struct web_fault_t;
}

/// What `unit_sim --web` was asked to do.
struct web_options_t {
    bool is_on = false;
    unsigned port = 0;                        ///< 0: a free one
    const sim::web_fault_t* fault = nullptr;  ///< null: none
    double rate = 1024;                       ///< kB that the flash takes in a second
    std::string mirror;                       ///< file; empty: none
    unsigned mirror_columns = 0;
};

/// The simulator as a unit that takes firmware over the network. The builds for a unit's own processors have
/// no web server: there these know no option, no fault, and run nothing.
void add_web_options(CLI::App& app, web_options_t& options);
void list_web_faults();
/// @return whether there is such a fault.
[[nodiscard]] bool set_web_fault(web_options_t& options, const std::string& name);
/// Runs a unit until SIGINT or SIGTERM and shows what happens to it. @return the exit status.
[[nodiscard]] int run_web_unit(const std::string& unit, bool plain, const web_options_t& options);
