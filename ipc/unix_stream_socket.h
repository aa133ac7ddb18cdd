#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>

namespace zel {

/// The connecting end of a local stream socket.
///
/// Never blocks except in the two waits, never raises SIGPIPE and throws nothing. Single-threaded use. The
/// object owns its descriptor and closes it at the end.
class unix_stream_socket_t {
  public:
    /// @param path  the socket file as the unit knows it. Nothing is opened yet.
    explicit unix_stream_socket_t(std::string path);
    unix_stream_socket_t(const unix_stream_socket_t&) = delete;
    unix_stream_socket_t& operator=(const unix_stream_socket_t&) = delete;
    ~unix_stream_socket_t();

    /// Connects, closing an earlier connection first. The descriptor is non-blocking and close-on-exec.
    /// @return false, with `errno` set, when nobody listens, when the listener has no room for one more, or
    ///         when the path is one that no address can hold (see ipc/local_address.h).
    [[nodiscard]] bool connect();

    /// Closes the connection. @return what the system's close returned: -1 when there was none to close.
    int close();

    /// The descriptor; -1 (after a failed `connect` any negative value) while there is no connection.
    [[nodiscard]] int fd() const { return fd_; }

    /// Waits until bytes can be sent. False at once when not connected or when the peer has hung up.
    /// @param timeout_ms  0 tests and returns, a negative value waits without end.
    [[nodiscard]] bool wait_writable(int timeout_ms);

    /// Waits until bytes can be received; time-outs as above. False at once when not connected, when the peer
    /// has hung up, and when the peer has shut down its sending side and all that it sent was read.
    [[nodiscard]] bool wait_readable(int timeout_ms);

    /// Sends what the socket takes at once.
    /// @return the bytes taken, 0 when it takes none now, negative with `errno` set on an error.
    ssize_t send(const void* data, std::size_t length);

    /// Receives what has arrived, at most `capacity` bytes.
    /// @return the bytes received, 0 when there are none, negative with `errno` set on an error.
    ssize_t receive(void* buffer, std::size_t capacity);

    /// What one call reads at most, up to the end of a read of 128 bytes.
    static constexpr std::size_t most_at_once = 65'536;

    /// Everything that has arrived, in reads of 128 bytes; stops once it holds `most_at_once` or a little
    /// more.
    [[nodiscard]] std::string read_available();

    /// `read_available` for a caller whose wait has just succeeded: appends to `bytes` and does not wait.
    /// @return the bytes appended; fewer than `most_at_once` when the socket is empty now.
    std::size_t append_available(std::string& bytes);

  private:
    std::string path_;
    int fd_ = -1;
};

}  // namespace zel
