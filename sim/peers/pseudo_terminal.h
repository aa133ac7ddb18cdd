#pragma once

#include <string>

namespace sim {

/// A real pseudo-terminal: a serial line with our end in this process and the other end a device node that
/// the unit opens. Owns the descriptors. Throws std::system_error when the system has no more of them.
class pseudo_terminal_t {
  public:
    pseudo_terminal_t();
    pseudo_terminal_t(const pseudo_terminal_t&) = delete;
    pseudo_terminal_t& operator=(const pseudo_terminal_t&) = delete;
    ~pseudo_terminal_t();

    /// The device node of the unit's end.
    [[nodiscard]] const std::string& path() const { return path_; }
    /// Our end, non-blocking; -1 after a hang-up.
    [[nodiscard]] int our_end() const { return our_end_; }
    /// The unit's end, kept open here so that the line's settings live on while the unit has it closed.
    [[nodiscard]] int units_end() const { return units_end_; }

    /// Pulls the plug: what the unit writes from then on fails.
    void hang_up();

  private:
    int our_end_ = -1;
    int units_end_ = -1;
    std::string path_;
};

}  // namespace sim
