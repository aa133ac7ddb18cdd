#pragma once

#include "ipc/ipc_server.h"

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace sim {

/// A local service on a thread of its own. A derived class calls `shut_down` in its destructor.
class service_t : public zel::ipc_server_t {
  public:
    /// Starts serving. @return true once clients can connect; false when the socket cannot be bound.
    bool start();

    /// Stops serving: clients see the connection end, the socket file goes. May be started again.
    void shut_down();

    /// Stops reading with the next bytes that arrive, so that clients find the way full, and goes on again.
    /// Nothing else happens meanwhile.
    void stall(bool stalled) { stalled_ = stalled; }

  protected:
    explicit service_t(std::string path);
    ~service_t() = default;

    /// `on_data` for clients; takes the place of it.
    virtual void received(int fd, std::string_view bytes) = 0;
    /// Every connection has ended. On the service's thread, its last act.
    virtual void stopped() = 0;

    /// Runs `call` on the service's thread, where the sockets may be used, and waits for it. Clients that
    /// connected before are served before. While the service is stopped it runs right here.
    /// Throws std::runtime_error when the socket file was removed.
    void on_service_thread(const std::function<void()>& call);

  private:
    struct call_t {
        const std::function<void()>* run;
        bool done = false;
    };

    void on_data(int fd, const char* bytes, std::size_t length) final;
    void serve();
    [[nodiscard]] bool ring();
    void run_calls();

    std::string path_;
    std::thread thread_;
    std::atomic<bool> stalled_{false};
    std::atomic<bool> ended_{false};
    std::mutex calls_lock_;
    std::condition_variable call_done_;
    std::vector<call_t*> calls_;  // owned by their callers, who wait
    std::thread::id serving_;     // none while no calls are taken
};

}  // namespace sim
