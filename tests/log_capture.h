#pragma once

#include "sim/log_file.h"
#include "sim/unit_root.h"

#include <sys/mman.h>
#include <unistd.h>

#include <string>

namespace tests {

/// Every line logged through the shared set-up from here on, in the long pattern.
class log_capture_t {
  public:
    log_capture_t() { sim::add_log_file(path_); }
    log_capture_t(const log_capture_t&) = delete;
    log_capture_t& operator=(const log_capture_t&) = delete;
    ~log_capture_t() { ::close(memory_); }

    [[nodiscard]] std::string text() const { return sim::read_file(path_); }
    [[nodiscard]] bool has(const std::string& part) const { return count(part) != 0; }
    [[nodiscard]] int count(const std::string& part) const {
        int found = 0;
        const auto all = text();
        for (auto at = all.find(part); at != std::string::npos; at = all.find(part, at + part.size())) {
            ++found;
        }
        return found;
    }

  private:
    int memory_ = ::memfd_create("log", 0);
    std::string path_ = "/proc/self/fd/" + std::to_string(memory_);
};

}  // namespace tests
