#pragma once

#include "sim/programs/web_mode.h"
#include "sim/unit/faults.h"
#include "sim/unit/scenario.h"

#include <optional>
#include <string>
#include <variant>
#include <vector>

/// What `unit_sim` was asked to do; everything in it exists.
struct options_t {
    std::string unit;
    sim::scenario_t scenario;
    std::vector<const sim::fault_t*> faults;
    double speed = 1;
    std::string pictures;  ///< directory; empty: none
    bool plain = false;
    bool serve = false;
    bool log = false;
    bool keep = false;
    bool board = false;
    web_options_t web;
    std::optional<unsigned> press;  ///< a key of a unit that runs already
    std::optional<unsigned> release;
};

/// Reads the command line.
/// @return what to do, or the status to end with, everything said: 0 after a list or the help was printed on
///         standard output, 2 after a line about wrong usage on standard error.
[[nodiscard]] std::variant<options_t, int> read_options(int argc, char** argv);
