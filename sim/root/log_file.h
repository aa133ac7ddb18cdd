#pragma once

#include <string>

namespace sim {

/// Adds a file as a further destination of every line that this process logs, in the long pattern.
void add_log_file(const std::string& path);

/// Every line that this process logs from here on, in the long pattern.
class log_capture_t {
  public:
    log_capture_t();
    log_capture_t(const log_capture_t&) = delete;
    log_capture_t& operator=(const log_capture_t&) = delete;
    ~log_capture_t();

    [[nodiscard]] std::string text() const;
    [[nodiscard]] bool has(const std::string& part) const { return count(part) != 0; }
    [[nodiscard]] int count(const std::string& part) const;

  private:
    int memory_;  ///< a file without a name
    std::string path_;
};

}  // namespace sim
