#include "sim/root/log_file.h"

#include "platform/logging.h"
#include "sim/root/unit_root.h"

#include <fcntl.h>
#include <spdlog/sinks/base_sink.h>
#include <sys/mman.h>
#include <unistd.h>

#include <memory>
#include <mutex>

namespace sim {

namespace {

/// Appends every line to a file with one write of its own. The library's file sink keeps lines in a buffer,
/// which a fork would double.
class line_file_sink_t final : public spdlog::sinks::base_sink<std::mutex> {
  public:
    explicit line_file_sink_t(const std::string& path)
        : file_{::open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644)} {}
    line_file_sink_t(const line_file_sink_t&) = delete;
    line_file_sink_t& operator=(const line_file_sink_t&) = delete;
    ~line_file_sink_t() override { ::close(file_); }

  private:
    void sink_it_(const spdlog::details::log_msg& message) override {
        spdlog::memory_buf_t line;
        formatter_->format(message, line);
        [[maybe_unused]] const auto written = ::write(file_, line.data(), line.size());
    }
    void flush_() override {}

    int file_;
};

}  // namespace

void add_log_file(const std::string& path) {
    const auto sink = std::make_shared<line_file_sink_t>(path);
    sink->set_pattern(zel::long_log_pattern);
    zel::add_log_sink(sink);
}

log_capture_t::log_capture_t()
    : memory_{::memfd_create("log", MFD_CLOEXEC)}, path_{"/proc/self/fd/" + std::to_string(memory_)} {
    add_log_file(path_);
}

log_capture_t::~log_capture_t() {
    ::close(memory_);
}

std::string log_capture_t::text() const {
    return read_file(path_);
}

int log_capture_t::count(const std::string& part) const {
    int found = 0;
    const auto all = text();
    for (auto at = all.find(part); at != std::string::npos; at = all.find(part, at + part.size())) {
        ++found;
    }
    return found;
}

}  // namespace sim
