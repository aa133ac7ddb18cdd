#pragma once

#include "tools/exporter/entrance.h"

#include <httplib.h>
#include <sys/socket.h>

#include <atomic>
#include <cstddef>
#include <functional>
#include <string>

namespace exporter {

/// Threads that answer, and a bounded number of requests that wait for one.
class bounded_pool_t {
  public:
    explicit bounded_pool_t(std::size_t threads) : pool_{threads}, most_{2 * threads} {}
    ~bounded_pool_t() { pool_.shutdown(); }
    bounded_pool_t(const bounded_pool_t&) = delete;
    bounded_pool_t& operator=(const bounded_pool_t&) = delete;

    void wait_for_room() {
        for (auto count = count_.load(); count >= most_; count = count_.load()) {
            count_.wait(count);
        }
    }
    void enqueue(std::function<void()> task) {
        ++count_;
        pool_.enqueue([this, task = std::move(task)] {
            task();
            --count_;
            count_.notify_one();
        });
    }

  private:
    httplib::ThreadPool pool_;
    std::size_t most_;
    std::atomic<std::size_t> count_{0};
};

/// The library's server gives a thread to a connection and waits there for every byte. This one gives it to a
/// request that has arrived, and one request to a connection. A request's body is not read beyond what came
/// with its head. An answer that is not taken within two seconds is given up.
class patient_server_t : public httplib::Server {
  public:
    /// @param threads  requests answered at the same time; twice as many are taken in.
    explicit patient_server_t(std::size_t threads);

    /// Once it is bound: the library's queue of five connections makes the sixth wait for a second.
    void lengthen_queue() { ::listen(svr_sock_, SOMAXCONN); }

  private:
    bool process_and_close_socket(socket_t socket) override;
    void answer(int socket, std::string request);

    bounded_pool_t pool_;
    entrance_t entrance_;
};

}  // namespace exporter
