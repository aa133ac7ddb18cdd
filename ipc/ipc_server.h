#pragma once

#include <poll.h>
#include <sys/types.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <list>
#include <string>
#include <unordered_set>
#include <vector>

namespace zel {

/// The listening end of a local stream socket: one thread, any number of clients, no framing. A derived class
/// says what happens with the bytes; it gets them as they come and sends them exactly.
///
/// `run` occupies the calling thread and calls the three operations on it; `send`, `send_wait` and `cleanup`
/// belong to that thread. Logs to "lin_ipc".
///
/// A client that cannot be accepted for want of descriptors or memory stays in the queue, and the listener is
/// left out of one cycle: nobody is accepted until the next event of a client, or for a second.
class ipc_server_t {
  public:
    /// @param path  the socket file as the unit knows it. No socket is made yet.
    explicit ipc_server_t(std::string path);
    ipc_server_t(const ipc_server_t&) = delete;
    ipc_server_t& operator=(const ipc_server_t&) = delete;

    /// Serves until `stop` is set, which takes effect within about a second, or with the next event. A file
    /// left at the path is removed first. May be called again afterwards.
    /// @return negative, with `errno` set, when the socket cannot be made or bound, also when the path is one
    ///         that no address can hold (ipc/local_address.h); otherwise the result of the final `cleanup`.
    int run();

    /// Waits until a client takes bytes and sends what it takes at once, which may be less than `length`.
    /// Never raises SIGPIPE.
    /// @return the bytes sent, 0 when the client took none in time, -1 with `errno` set on an error.
    ssize_t send(int fd, const void* bytes, std::size_t length, int timeout_ms);

    /// Waits until a client takes bytes. A time-out is logged once until a later wait succeeds.
    [[nodiscard]] bool send_wait(int fd, int timeout_ms);

    /// Closes the listening socket and every client, without `on_disconnect`, and removes the socket file.
    /// Not to be called from within an operation, which sets `stop` instead.
    /// @return the result of the removal: -1 when there was no file.
    int cleanup();

    /// Whether clients can connect. May be read from any thread.
    [[nodiscard]] bool is_listening() const { return listening_; }

    /// Ends `run` at the top of its next cycle; `run` clears it when it starts. Set from any thread, or from
    /// within an operation.
    std::atomic<bool> stop{false};

  protected:
    /// Cleans up, also when `run` never did anything.
    ~ipc_server_t();

    /// A client was accepted.
    virtual void on_connect(int fd) = 0;
    /// A client hung up, shut down its sending side or failed. Its descriptor is still open.
    virtual void on_disconnect(int fd) = 0;
    /// Bytes arrived: 1 to 8192 of them.
    virtual void on_data(int fd, const char* bytes, std::size_t length) = 0;

    [[nodiscard]] std::uint32_t client_count() const { return static_cast<std::uint32_t>(clients_.size()); }

  private:
    [[nodiscard]] int open_listener();
    void list_descriptors(std::vector<pollfd>& entries) const;
    void serve_clients(const std::vector<pollfd>& entries);
    void receive(int fd);
    void accept_client();

    std::string path_;
    std::list<int> clients_;  // in order of acceptance
    std::unordered_set<int> timed_out_;
    int listener_ = -1;
    bool may_accept_ = true;
    std::atomic<bool> listening_{false};
};

}  // namespace zel
