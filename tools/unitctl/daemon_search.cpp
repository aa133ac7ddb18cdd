#include "tools/unitctl/daemon_search.h"

#include "platform/paths.h"
#include "platform/system_path.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <filesystem>
#include <string>
#include <system_error>

namespace tools::unitctl {

namespace {

namespace fs = std::filesystem;

/// A program that was replaced while it runs, as an update does, reads "/usr/sbin/fwstatus (deleted)".
bool is_daemon(const fs::path& process) {
    std::error_code error;
    const auto name = fs::read_symlink(process / "exe", error).filename().string();
    const auto program = name.substr(0, name.find(' '));
    return program == "fwstatus" || program == "fwstatus-sim";
}

bool has_open(const fs::path& process, const std::string& device) {
    std::error_code error;
    for (fs::directory_iterator entry{process / "fd", error}, end; !error && entry != end;
         entry.increment(error)) {
        std::error_code gone;
        if (fs::read_symlink(entry->path(), gone).string() == device) {
            return true;
        }
    }
    return false;
}

}  // namespace

std::optional<pid_t> find_daemon() {
    const auto device = zel::system_path(zel::paths::io_driver);
    std::error_code error;
    for (fs::directory_iterator entry{"/proc", error}, end; !error && entry != end; entry.increment(error)) {
        const auto name = entry->path().filename().string();
        pid_t process{};
        const auto [stop, fault] = std::from_chars(name.data(), name.data() + name.size(), process);
        if (fault == std::errc{} && *stop == '\0' && is_daemon(entry->path()) &&
            has_open(entry->path(), device)) {
            return process;
        }
    }
    return std::nullopt;
}

}  // namespace tools::unitctl
