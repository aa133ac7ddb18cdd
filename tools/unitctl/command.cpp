#include "tools/unitctl/command.h"

#include <cmath>
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

CLI::Validator decimal_unless_0x() {
    return CLI::Validator{[](std::string& text) {
                              const auto first = text.find_first_not_of("+-");
                              const auto digits = text.find_first_not_of('0', first);
                              if (first != std::string::npos && text[first] == '0' &&
                                  digits != std::string::npos &&
                                  text.find_first_not_of("0123456789", digits) == std::string::npos) {
                                  text.erase(first, digits - first);
                              }
                              return std::string{};
                          },
                          ""};
}

std::chrono::milliseconds time_limit(const std::optional<double>& seconds) {
    constexpr double shortest = 0.001;
    constexpr double longest = 86'400;
    if (!seconds) {
        return {};
    }
    if (!(*seconds >= shortest && *seconds <= longest)) {
        throw refusal_t{"a time goes from 0.001 to 86400 seconds"};
    }
    return std::chrono::milliseconds{std::lround(*seconds * 1000)};
}

}  // namespace tools::unitctl
