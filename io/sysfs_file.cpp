#include "io/sysfs_file.h"

#include "platform/system_path.h"

#include <fcntl.h>
#include <unistd.h>

#include <charconv>

namespace io::sysfs_file {

bool write(std::string_view unit_path, std::string_view text) {
    const int file = ::open(zel::system_path(unit_path).c_str(), O_WRONLY | O_CLOEXEC);
    if (file < 0) {
        return false;
    }
    [[maybe_unused]] const auto written = ::write(file, text.data(), text.size());
    ::close(file);
    return true;
}

std::optional<int> read_integer(std::string_view unit_path) {
    const int file = ::open(zel::system_path(unit_path).c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        return std::nullopt;
    }
    char text[32];
    const auto length = ::read(file, text, sizeof text);
    ::close(file);
    int value = 0;
    if (length <= 0 || std::from_chars(text, text + length, value).ec != std::errc{}) {
        return std::nullopt;
    }
    return value;
}

}  // namespace io::sysfs_file
