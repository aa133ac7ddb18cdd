#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace exporter {

/// Connections whose requests have not arrived whole yet. One thread reads them all: a client that is slow or
/// silent takes nobody else's time.
///
/// A client is sent away when its request is not whole in time (status 408) or is too long (431), and when
/// there are too many (503): then the one that has been here longest.
class entrance_t {
  public:
    static constexpr std::chrono::seconds time{2};        ///< for a request, from the connection on
    static constexpr std::size_t longest_request = 8192;  ///< bytes, to the empty line that ends its headers
    static constexpr std::size_t most_clients = 256;

    /// Takes a connection over, with its request as it came. Called by the thread that reads: must not block.
    using taker_t = std::function<void(int socket, std::string request)>;

    /// Throws std::system_error when there is no descriptor left.
    explicit entrance_t(taker_t taker);
    /// Closes the connections that are still here. No other thread may call `admit` any more.
    ~entrance_t();
    entrance_t(const entrance_t&) = delete;
    entrance_t& operator=(const entrance_t&) = delete;

    /// A new connection, which belongs to this object until the taker has it.
    void admit(int socket);

  private:
    struct client_t {
        int socket;
        std::chrono::steady_clock::time_point deadline;
        std::string request{};
    };

    void run();
    void wait_for_bytes() const;
    [[nodiscard]] bool take_arrivals();
    [[nodiscard]] bool has_left(client_t& client);
    void send_away_first(const char* status);

    taker_t taker_;
    int arrivals_ = -1;  // what `admit` puts in at the entry
    int entry_ = -1;
    std::vector<client_t> clients_;  // in the order in which they came
    std::thread thread_;
};

}  // namespace exporter
