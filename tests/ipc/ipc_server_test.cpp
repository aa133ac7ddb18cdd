#include "ipc/ipc_server.h"
#include "ipc/unix_stream_socket.h"
#include "platform/logging.h"
#include "sim/root/log_file.h"
#include "sim/unit/unit.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <functional>
#include <iterator>
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
    void on_connect(int) override { diary(client_count() > 0 ? "+" : "greeted before it was counted"); }
    void on_disconnect(int) override { diary(client_count() > 0 ? "-" : "gone before its farewell"); }
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

/// Serves as long as it lives: made after what the server's reaction uses.
class serving_t {
  public:
    explicit serving_t(diary_server_t& server)
        : server_{server}, thread_{[&server] { EXPECT_EQ(server.run(), 0); }} {
        EXPECT_TRUE(sim::wait_until([&server] { return server.is_listening(); }));
    }
    ~serving_t() {
        server_.stop = true;
        static_cast<void>(zel::unix_stream_socket_t{service_path}.connect());  // to be noticed at once
    }
    void join() { thread_.join(); }

  private:
    diary_server_t& server_;
    std::jthread thread_;
};

class ipc_server : public ::testing::Test {
  protected:
    bool diary_becomes(const std::string& text) {
        return sim::wait_until([&] { return server_.diary() == text; });
    }

    sim::unit_root_t unit_{*sim::find_unit("container")};
    diary_server_t server_{service_path};
};

std::ptrdiff_t descriptors() {
    return std::distance(std::filesystem::directory_iterator{"/proc/self/fd"}, {});
}

int listening_descriptor() {
    int listens = 0;
    socklen_t length = sizeof listens;
    int fd = 0;
    while (fd < FD_SETSIZE &&
           (::getsockopt(fd, SOL_SOCKET, SO_ACCEPTCONN, &listens, &length) != 0 || listens == 0)) {
        ++fd;
    }
    return fd;
}

TEST_F(ipc_server, clients_are_heard_before_they_leave_and_a_stop_from_within_sends_no_farewells) {
    unit_.write_file(service_path, "left by an earlier process");
    server_.reaction = [this](int, std::string_view text) { server_.stop = text == "stop"; };
    std::string diary;
    for (int run = 0; run < 2; ++run) {
        serving_t serving{server_};
        client_t client;
        client.say("last words");
        ::shutdown(client.fd(), SHUT_WR);
        EXPECT_TRUE(diary_becomes(diary += "+last words-"));
        client_t stopping;
        stopping.say("stop");
        serving.join();
        EXPECT_EQ(server_.diary(), diary += "+stop");
        char byte = 0;
        EXPECT_EQ(::recv(stopping.fd(), &byte, 1, MSG_DONTWAIT), 0) << "the connection was closed";
        EXPECT_FALSE(std::filesystem::exists(unit_.file(service_path)));
    }
}

TEST_F(ipc_server, clients_are_served_side_by_side_and_leave_nothing_behind) {
    server_.reaction = [this](int fd, std::string_view text) {
        EXPECT_EQ(server_.send(fd, text.data(), text.size(), 0), std::ssize(text));
    };
    serving_t serving{server_};
    EXPECT_EQ(::fcntl(listening_descriptor(), F_GETFD), FD_CLOEXEC);
    std::string diary;
    std::ptrdiff_t open = 0;
    for (int round = 0; round < 3; ++round) {
        client_t first;
        client_t second;
        EXPECT_EQ(::fcntl(first.fd(), F_GETFD), FD_CLOEXEC);
        EXPECT_NE(::fcntl(first.fd(), F_GETFL) & O_NONBLOCK, 0);
        second.say("2");
        EXPECT_TRUE(diary_becomes(diary += "++2"));
        first.say("1");
        EXPECT_TRUE(diary_becomes(diary += "1"));
        EXPECT_TRUE(first.wait_readable(1000));
        EXPECT_EQ(first.read_available(), "1");
        EXPECT_EQ(second.read_available(), "2");
        first.close();
        EXPECT_TRUE(diary_becomes(diary += "-"));
        second.say("still here");
        EXPECT_TRUE(diary_becomes(diary += "still here"));
        std::string begin(5, '\0');
        EXPECT_TRUE(second.wait_readable(1000));
        EXPECT_EQ(second.receive(begin.data(), begin.size()), 5);
        EXPECT_EQ(begin + second.read_available(), "still here");
        EXPECT_EQ(second.receive(begin.data(), begin.size()), 0);
        second.close();
        EXPECT_TRUE(diary_becomes(diary += "-"));
        EXPECT_TRUE(round == 0 || sim::wait_until([&] { return descriptors() == open; }));
        open = descriptors();
    }
    const auto told = std::chrono::steady_clock::now();
    server_.stop = true;
    serving.join();
    EXPECT_LT(std::chrono::steady_clock::now() - told, std::chrono::seconds{5}) << "looks up once a second";
}

TEST_F(ipc_server, nobody_is_ended_by_a_peer_that_takes_nothing_more) {
    std::atomic<int> refused{0};
    server_.reaction = [&](int fd, std::string_view text) {
        if (text == "anybody there?") {
            EXPECT_EQ(server_.send(fd, text.data(), text.size(), 1000), -1);
            refused = errno;
        } else {
            ::shutdown(fd, SHUT_RD);
            EXPECT_TRUE(sim::wait_until([&] { return refused == 0; }));
        }
    };
    const serving_t serving{server_};
    client_t deaf;
    ::shutdown(deaf.fd(), SHUT_RD);
    deaf.say("anybody there?");
    EXPECT_TRUE(sim::wait_until([&] { return refused == EPIPE; }));
    client_t unheard;
    EXPECT_TRUE(sim::wait_until([&] { return unheard.send("...", 3) < 0 && errno == EPIPE; }));
    refused = 0;
}

TEST_F(ipc_server, a_client_that_does_not_read_is_logged_once_a_stall) {
    zel::register_logger("lin_ipc");
    const sim::log_capture_t log;
    std::atomic<int> stalls{0};
    server_.reaction = [&](int fd, std::string_view text) {
        const auto logged = [&] {
            return log.count("[lin_ipc] [error] ipc_server_t::send_wait timeout on fd " + std::to_string(fd) +
                             " timeout 20ms\n");
        };
        while (server_.send(fd, text.data(), text.size(), 20) > 0) {
        }
        EXPECT_EQ(logged(), stalls + 1);
        EXPECT_FALSE(server_.send_wait(fd, 20));
        EXPECT_EQ(logged(), ++stalls);
    };
    const serving_t serving{server_};
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
        EXPECT_LT(socket.fd(), 0);
    }
}

}  // namespace
