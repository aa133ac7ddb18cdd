// The CGI program /cgi-bin/fw_upload of a simulated unit: takes an image for the updating process.

#include "ipc/property_client.h"
#include "platform/system_path.h"
#include "sim/root/unit_root.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

std::string environment(const char* name) {
    const char* const value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe)
    return value == nullptr ? "" : value;
}

int answer(const char* text) {
    std::printf("Content-Type: text/plain\r\n\r\n%s\n", text);
    return 0;
}

bool is_updating() {
    zel::property_client_t engine;
    std::string state;
    const bool known =
        engine.connect() && engine.wait_for_something("/sys/fw_status/state", state, 1000) && !state.empty();
    return (known && state != "idle" && state != "error") || fs::exists(zel::system_path("/tmp/fw_image"));
}

// Everything that comes, into the file; how much it was.
std::size_t take(const std::string& path, std::size_t expected, const std::string& fault) {
    std::ofstream file{path, std::ios::binary | std::ios::trunc};
    std::vector<char> piece(65536);
    std::size_t taken = 0;
    for (ssize_t count = 0; (count = ::read(STDIN_FILENO, piece.data(), piece.size())) > 0;) {
        file.write(piece.data(), count);
        taken += static_cast<std::size_t>(count);
        if (fault == "web-server-dies" && taken > expected / 2) {
            ::kill(::getppid(), SIGKILL);
            ::pause();
        }
    }
    return file ? taken : 0;
}

}  // namespace

int main() {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);  // with its web server, however long it would wait
    const auto fault = sim::read_file(zel::system_path("/sim/web_fault"));
    const auto part = zel::system_path("/tmp/fw_image.part");
    const auto expected =
        static_cast<std::size_t>(std::strtoull(environment("CONTENT_LENGTH").c_str(), nullptr, 10));
    const int lock = ::open((part + ".lock").c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600);
    const bool is_first = ::flock(lock, LOCK_EX | LOCK_NB) == 0;
    if (!is_first || fault == "web-busy" || is_updating()) {
        take("/dev/null", expected, fault);
        return answer("Busy");
    }
    const auto taken = take(part, expected, fault);
    if (fault == "web-no-answer") {
        ::pause();
    }
    if (fault == "web-unsupported") {
        return answer("unsupported hardware");
    }
    if (taken == 0 || taken != expected) {
        return answer("The image did not arrive whole");
    }
    std::ofstream{zel::system_path("/tmp/fw_image.hash")} << environment("HTTP_X_FIRMWARE_HASH");
    fs::rename(part, zel::system_path("/tmp/fw_image"));
    return answer("Started");
}
