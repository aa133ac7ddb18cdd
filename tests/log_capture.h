#pragma once

#include "platform/logging.h"
#include "tests/temporary_directory.h"

#include <string>

namespace tests {

/// Every line logged through the shared set-up from here on, in the long pattern.
class log_capture_t {
  public:
    log_capture_t() { zel::add_log_file(file()); }

    [[nodiscard]] std::string text() const { return read_file(file()); }
    [[nodiscard]] bool has(const std::string& part) const { return text().find(part) != std::string::npos; }
    [[nodiscard]] int count(const std::string& part) const {
        int found = 0;
        const auto all = text();
        for (auto at = all.find(part); at != std::string::npos; at = all.find(part, at + part.size())) {
            ++found;
        }
        return found;
    }

  private:
    [[nodiscard]] std::string file() const { return directory_.path() + "/log"; }

    temporary_directory_t directory_;
};

}  // namespace tests
