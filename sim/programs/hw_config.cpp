// The CGI program /cgi-bin/hw_config of a simulated unit: answers "?NAME" with the property /sys/config/NAME,
// empty while nobody has set it.

#include "ipc/property_client.h"
#include "platform/system_path.h"
#include "sim/root/unit_root.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

int main() {
    const char* const query = std::getenv("QUERY_STRING");  // NOLINT(concurrency-mt-unsafe)
    if (sim::read_file(zel::system_path("/sim/web_fault")) == "web-foreign") {
        std::puts("Content-Type: text/html\r\n\r\n<html><body>It works!</body></html>");
        return 0;
    }
    constexpr std::array<std::string_view, 3> names{"firmware_hash", "firmware_id", "fw_compat"};
    const std::string name = query == nullptr ? "" : query;
    if (std::find(names.begin(), names.end(), name) == names.end()) {
        std::puts("Status: 404 Not Found\r\nContent-Type: text/plain\r\n\r\nno such name");
        return 0;
    }
    zel::property_client_t engine;
    std::string value;
    if (!engine.connect() || !engine.wait_for_something("/sys/config/" + name, value, 1000)) {
        std::puts("Status: 503 Service Unavailable\r\nContent-Type: text/plain\r\n\r\nno property engine");
        return 0;
    }
    std::printf("Content-Type: text/plain\r\n\r\n%s\n", value.c_str());
    return 0;
}
