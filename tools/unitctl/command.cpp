#include "tools/unitctl/command.h"

#include <cstdarg>
#include <cstdio>

namespace tools::unitctl {

bool print_if(bool read, const char* format, ...) {
    if (read) {
        std::va_list values;
        va_start(values, format);
        // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): va_start is the line above
        std::vprintf(format, values);
        va_end(values);
    }
    return read;
}

}  // namespace tools::unitctl
