#include "ipc/ipc_server.h"
#include "ipc/unix_stream_socket.h"
#include "platform/logging.h"
#include "sim/root/log_file.h"
#include "sim/unit/unit.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <filesystem>
#include <functional>
#include <mutex>
#include <thread>

namespace {

constexpr const char* service_path = "/tmp/service";

// Keeps a diary; what it does with data is the test's to say.
class diary_server_t final : public zel::ipc_server_t {
  public:
    using ipc_server_t::ipc_server_t;

    std::string diary(std::string_view more = {}) {
        const std::lock_guard lock{lock_};
        return diary_ += more;
    }

    std::function<void(int, std::string_view)> reaction = [](int, std::string_view) {};

  private:
    void on_connect(int) override { diary("+"); }
    void on_disconnect(int) override { diary("-"); }
    void on_data(int fd, const char* bytes, std::size_t length) override {
        diary({bytes, length});
        reaction(fd, {bytes, length});
    }

    std::mutex lock_;
    std::string diary_;
};

struct client_t : zel::unix_stream_socket_t {
    client_t() : unix_stream_socket_t{service_path} {
        EXPECT_TRUE(sim::wait_until([this] { return connect(); }));
    }
    void say(std::string_view text) { EXPECT_EQ(send(text.data(), text.size()), std::ssize(text)); }
};

class ipc_server : public ::testing::Test {
  protected:
    ~ipc_server() override { server_.stop = true; }

    void start() {
        thread_ = std::jthread{[this] { EXPECT_EQ(server_.run(), 0); }};
        ASSERT_TRUE(sim::wait_until([this] { return server_.is_listening(); }));
    }

    sim::unit_root_t unit_{*sim::find_unit("container")};
    diary_server_t server_{service_path};
    std::jthread thread_;
};

TEST_F(ipc_server, clients_are_heard_before_they_leave_and_a_stop_from_within_sends_no_farewells) {
    unit_.write_file(service_path, "left by an earlier process");
    server_.reaction = [this](int, std::string_view text) { server_.stop = text == "stop"; };
    std::string diary;
    for (int run = 0; run < 2; ++run) {
        start();
        client_t client;
        client.say("last words");
        ::shutdown(client.fd(), SHUT_WR);
        diary += "+last words-";
        EXPECT_TRUE(sim::wait_until([&] { return server_.diary() == diary; }));
        client_t stopping;
        stopping.say("stop");
        thread_.join();
        EXPECT_EQ(server_.diary(), diary += "+stop");
        EXPECT_FALSE(stopping.wait_readable(10'000)) << "the connection was closed";
        EXPECT_FALSE(std::filesystem::exists(unit_.file(service_path)));
    }
}

TEST_F(ipc_server, a_client_that_does_not_read_is_logged_once_a_stall) {
    zel::register_logger("lin_ipc");
    const sim::log_capture_t log;
    std::atomic<int> stalls{0};
    server_.reaction = [&](int fd, std::string_view text) {
        while (server_.send(fd, text.data(), text.size(), 20) > 0) {
        }
        EXPECT_FALSE(server_.send_wait(fd, 20));
        ++stalls;
        EXPECT_EQ(log.count("[lin_ipc] [error] ipc_server_t::send_wait timeout on fd " + std::to_string(fd) +
                            " timeout 20ms\n"),
                  stalls);
    };
    start();
    client_t client;
    for (const int stall : {1, 2}) {
        client.say("fill");
        ASSERT_TRUE(sim::wait_until([&] { return stalls == stall; }));
        while (!client.read_available().empty()) {
        }
    }
}

TEST_F(ipc_server, a_path_that_no_address_can_hold_is_refused_at_both_ends) {
    const std::string longest = "/nowhere/" + std::string(107 - unit_.path().size() - 9, 'p');
    for (const auto& [path, error] :
         {std::pair{longest, ENOENT}, {longest + "p", ENAMETOOLONG}, {"/tmp/100%s", EINVAL}}) {
        diary_server_t server{path};
        EXPECT_LT(server.run(), 0);
        EXPECT_EQ(errno, error) << path;
        zel::unix_stream_socket_t socket{path};
        EXPECT_FALSE(socket.connect());
        EXPECT_EQ(errno, error) << path;
    }
}

}  // namespace
