// propctl: reads, sets and follows properties of the unit's property engine.

#include "tools/property_tool.h"

#include <algorithm>
#include <cstdio>

int main(int argc, char** argv) {
    zel::property_client_t client;
    return tools::property_tool_t{client, stdout, stderr}.run({argv + std::min(argc, 1), argv + argc});
}
