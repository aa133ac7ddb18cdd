#pragma once

#include <curl/curl.h>

#include <chrono>
#include <cstddef>
#include <optional>

namespace fwpush {

/// Any number of HTTP transfers in one thread: libcurl's multi interface on an epoll descriptor, so that what
/// it costs depends on what happens and not on how many transfers there are.
class transfers_t {
  public:
    using time_point_t = std::chrono::steady_clock::time_point;

    /// Told when a transfer has ended. It is no longer under way then, and may be begun anew.
    class client_t {
      public:
        virtual void transferred(CURLcode result) = 0;

      protected:
        ~client_t() = default;
    };

    /// @param units  how many connections are worth keeping open. Throws std::system_error or
    ///               std::runtime_error when the system has no descriptors for all this.
    explicit transfers_t(std::size_t units);
    transfers_t(const transfers_t&) = delete;
    transfers_t& operator=(const transfers_t&) = delete;
    ~transfers_t();

    /// Begins the transfer that an easy handle describes. The handle's private pointer is to be its client_t.
    void begin(CURL* handle);
    /// Ends it, without telling its client. Nothing happens when it is not under way.
    void abort(CURL* handle);

    /// Moves transfers on and tells their clients, until there is nothing to do before `until`, which is
    /// soon, or something has happened.
    void run(time_point_t until);

  private:
    static int on_socket(CURL* handle, curl_socket_t socket, int what, void* self, void* known);
    static int on_timer(CURLM* multi, long time, void* self);

    void watch(curl_socket_t socket, int what, bool known);
    void act_on_timer();
    void tell_clients();

    int epoll_;
    CURLM* multi_;
    std::optional<time_point_t> deadline_;  // of libcurl's own next action
};

}  // namespace fwpush
