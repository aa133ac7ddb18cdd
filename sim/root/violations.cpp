#include "sim/root/violations.h"

#include "sim/root/system_path.h"
#include "sim/root/unit_root.h"

#include <fcntl.h>
#include <unistd.h>

namespace sim {

namespace {

std::string violations_path() {
    return unit_root() + "/sim/violations";
}

}  // namespace

void report_violation(const std::string& line) {
    const std::string text = line + '\n';
    const int file = unit_root().empty()
                         ? STDERR_FILENO
                         : ::open(violations_path().c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (file < 0) {
        return;
    }
    [[maybe_unused]] const auto written = ::write(file, text.data(), text.size());
    if (file != STDERR_FILENO) {
        ::close(file);
    }
}

std::string violations() {
    return read_file(violations_path());
}

}  // namespace sim
