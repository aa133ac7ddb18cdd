#include "sim/programs/web_mode.h"

void add_web_options(CLI::App& /*app*/, web_options_t& /*options*/) {}

void list_web_faults() {}

bool set_web_fault(web_options_t& /*options*/, const std::string& /*name*/) {
    return false;
}

int run_web_unit(const std::string& /*unit*/, bool /*plain*/, const web_options_t& /*options*/) {
    return 1;
}
