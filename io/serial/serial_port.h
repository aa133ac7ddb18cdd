#pragma once

#include <termios.h>

#include <cstddef>
#include <string>

namespace zel {

// The settings of a line. Each is checked where it is applied: a number from elsewhere may be cast and handed
// in.
enum class data_bits_e : int { seven = 0, eight = 1 };
enum class parity_e : int { none = 0, odd = 1, even = 2 };
enum class stop_bits_e : int { one = 0, two = 1 };
enum class flow_control_e : int { none = 0, software = 1, hardware = 2 };

/// Changes terminal attributes to a raw line with the given settings; what `serial_port::configure` writes.
///
/// `stop_bits_e::two` masks all control bits but CSTOPB: speed bits, CREAD, CLOCAL and parity go, and CSTOPB
/// is there afterwards only if it was before. Data size and flow control are set after that and remain. The
/// serial panel, the one user, has one stop bit. A parity beyond the named ones leaves parity as it is.
/// Throws serial_port_exception with "unknown stop bit size option", "unknown data bit size option" or
/// "unknown flow control option", checked in this order; `attributes` are half changed then.
/// @param speed  a termios speed constant such as B115200.
void apply_line_settings(termios& attributes, speed_t speed, data_bits_e data_bits, parity_e parity,
                         stop_bits_e stop_bits, flow_control_e flow);

/// A serial device. Owns the descriptor and closes it on destruction. Every system call that fails is thrown
/// as `zel::serial_port_exception` with the texts given here and errno. For one caller at a time.
class serial_port {
  public:
    serial_port() = default;
    serial_port(const serial_port&) = delete;
    serial_port& operator=(const serial_port&) = delete;
    /// Closes an open port; a failure to do so is swallowed.
    ~serial_port();

    /// Opens the device for reading and writing without waiting for a carrier and without making it the
    /// controlling terminal, then sets the descriptor's status flags (O_NONBLOCK, or 0 for calls that block).
    /// A port that is open already gives up its device first. Throws "open failed".
    /// @param path  where the device lies on this machine.
    void open(const std::string& path, int flags);
    /// Throws "close failed"; the port then counts as open still.
    void close();
    [[nodiscard]] bool is_open() const { return descriptor_ >= 0; }

    /// Waits for the device with select. Blocks up to the time-out.
    ///
    /// select is handed the descriptor itself as its first argument, which leaves this very descriptor out of
    /// what it looks at: the wait lasts its whole time and reports nothing ready. Users count on that full
    /// wait as the time that the other end needs to answer. A descriptor at the start of a `long` of the set
    /// (0, 32, ... or 0, 64, ...) is not even cleared in the exception set and so ends as a device error.
    ///
    /// Throws "select failed" (EBADF for a descriptor too large for a descriptor set, EINVAL for a closed
    /// port or a time-out that is no number or beyond 2 000 000 000 000), or "error on device in select" with
    /// number 0.
    /// @param timeout_ms  milliseconds; the time left over on return.
    /// @return whether select reported a ready descriptor.
    bool wait(double& timeout_ms, bool want_read, bool want_write) const;

    /// Throws "get attribute".
    void get_attributes(termios& attributes) const;
    /// Takes effect at once. Throws "set attribute".
    void set_attributes(const termios& attributes) const;

    /// Reads the attributes, changes them with `apply_line_settings` and writes them back. An option error is
    /// thrown before anything is written.
    void configure(speed_t speed, data_bits_e data_bits, parity_e parity, stop_bits_e stop_bits,
                   flow_control_e flow) const;

    // Each of these reads the attributes, changes them and writes them back at once.

    /// Line-wise input with echo.
    void set_canonical() const;
    /// Input byte by byte, no echo, no signals.
    void set_raw() const;
    void set_output_processing() const;
    void clear_output_processing() const;
    /// Clears output processing and writes control-character slots 6 (0) and 8 (tenths of a second, one
    /// byte). Where VMIN is slot 5 and VTIME slot 7 these are the end-of-line characters and no read time-out
    /// comes of it; where VMIN is slot 6 (x86, ARM) a read with nothing pending returns 0 from then on.
    void set_read_timeout(int milliseconds) const;

    /// Throws "set attribute".
    void send_break(int duration) const;

    /// Writes all bytes or throws "write error". A write that was cut short throws it with whatever errno
    /// held before: to the system it is no error.
    /// @param length  bytes; negative for a text up to its NUL.
    /// @return bytes written.
    std::size_t write(const void* buffer, std::ptrdiff_t length) const;
    /// Throws "read error"; with O_NONBLOCK also when nothing is pending (but see `set_read_timeout`).
    /// @return bytes read, 0 or more.
    std::size_t read(void* buffer, std::size_t length) const;

  private:
    template <typename change_t>
    void change_attributes(change_t change) const;

    int descriptor_ = -1;
};

}  // namespace zel
