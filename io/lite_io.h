#pragma once

namespace io {

/// The I/O device of the small processing units, "/dev/lite_io". Opened on first use and kept until the
/// process ends.
class lite_io_t {
  public:
    [[nodiscard]] static lite_io_t& instance();

    lite_io_t(const lite_io_t&) = delete;
    lite_io_t& operator=(const lite_io_t&) = delete;

    /// True when the device could be opened.
    [[nodiscard]] bool present() const { return descriptor_ >= 0; }

  private:
    lite_io_t();

    int descriptor_ = -1;
};

}  // namespace io
