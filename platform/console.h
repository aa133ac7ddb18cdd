#pragma once

#include <sstream>
#include <string_view>

namespace zel {

/// Writes one line and its line end to standard output (descriptor 1).
///
/// Never blocks: a line that the other end cannot take at once is dropped, on a terminal what does not fit of
/// it. Standard output of the daemon is whatever its caller's standard error was, often a pipe, and a service
/// pass must not wait for whoever holds the other end. A pipe that nobody will ever read raises SIGPIPE,
/// which the daemon ignores (daemon/start_up.cpp).
void write_console_line(std::string_view line);

/// One line for standard output, collected with the stream operator and written when the object goes.
///
///     console_line_t{} << "invalid lamp: " << lamp;
class console_line_t {
  public:
    console_line_t() = default;
    console_line_t(const console_line_t&) = delete;
    console_line_t& operator=(const console_line_t&) = delete;
    ~console_line_t();

    template <typename value_t>
    console_line_t& operator<<(const value_t& value) {
        text_ << value;
        return *this;
    }

  private:
    std::ostringstream text_;
};

}  // namespace zel
