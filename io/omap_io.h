#pragma once

#include <cstddef>

namespace io {

/// The I/O device of the first hardware generation, "/dev/omap_io". Where it exists there is no FPGA.
/// Opened and mapped on first use and kept until the process ends.
class omap_io_t {
  public:
    [[nodiscard]] static omap_io_t& instance();

    omap_io_t(const omap_io_t&) = delete;
    omap_io_t& operator=(const omap_io_t&) = delete;

    /// True when the device could be opened, whether or not it could be mapped.
    [[nodiscard]] bool present() const { return descriptor_ >= 0; }

  private:
    omap_io_t();

    int descriptor_ = -1;
    std::byte* mapping_ = nullptr;  ///< stays until the process ends
};

}  // namespace io
