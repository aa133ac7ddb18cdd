// unitctl: every operation of a unit's drivers from the command line.

#include "tools/unitctl/runner.h"

int main(int argc, char** argv) {
    return tools::unitctl::run_program(argc, argv);
}
