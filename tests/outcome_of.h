#pragma once

#include <sys/wait.h>

#include <cstdio>
#include <string>

namespace tests {

/// What a shell command prints on both its outputs, and behind it its exit status.
inline std::string outcome_of(const std::string& command) {
    std::FILE* const output = ::popen((command + " 2>&1").c_str(), "r");  // NOLINT(cert-env33-c)
    std::string text;
    for (int character = 0; (character = std::fgetc(output)) != EOF;) {
        text += static_cast<char>(character);
    }
    return text + std::to_string(WEXITSTATUS(::pclose(output)));
}

}  // namespace tests
