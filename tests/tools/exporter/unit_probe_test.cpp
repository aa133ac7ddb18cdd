#include "tools/exporter/unit_probe.h"

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <string>
#include <thread>

namespace {

/// Answers every connection to a port of its own with the same text, until it is destroyed.
class web_server_t {
  public:
    explicit web_server_t(std::string answer) : answer_{std::move(answer)} {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        auto* const any = reinterpret_cast<sockaddr*>(&address);
        EXPECT_EQ(::bind(listener_, any, size) + ::listen(listener_, 8), 0);
        ::getsockname(listener_, any, &size);
        target_ = "127.0.0.1:" + std::to_string(ntohs(address.sin_port));
        thread_ = std::thread{[this] { serve(); }};
    }
    ~web_server_t() {
        ::shutdown(listener_, SHUT_RDWR);
        thread_.join();
        ::close(listener_);
    }
    [[nodiscard]] const std::string& target() const { return target_; }
    [[nodiscard]] int asked() const { return asked_; }

  private:
    void serve() {
        for (int peer = 0; (peer = ::accept(listener_, nullptr, nullptr)) >= 0; ++asked_) {
            std::array<char, 4096> request{};
            ::recv(peer, request.data(), request.size(), 0);
            ::send(peer, answer_.data(), answer_.size(), MSG_NOSIGNAL);
            ::close(peer);
        }
    }

    int listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    std::string answer_;
    std::string target_;
    std::atomic<int> asked_ = 0;
    std::thread thread_;
};

TEST(unit_probe, asks_the_unit_and_nobody_that_it_points_to) {
    const web_server_t good{
        "HTTP/1.0 200 OK\r\n\r\n<status><state>fw_write</state><progress>42</progress><detail>"};
    const auto ask = [](const web_server_t& server) {
        return exporter::probe(*exporter::parse_target(server.target(), 80), {}, std::chrono::seconds{5});
    };
    const auto result = ask(good);
    ASSERT_TRUE(result.status) << result.problem;
    EXPECT_EQ(result.status->progress, 42);
    const web_server_t pointing{"HTTP/1.0 302 Found\r\nLocation: http://" + good.target() +
                                "/fw_status.xml\r\n\r\n"};
    EXPECT_EQ(ask(pointing).problem, "the web server answers with 302");
    EXPECT_EQ(good.asked(), 1);
}

}  // namespace
