#include "ipc/ipc_server.h"
#include "ipc/unix_stream_socket.h"
#include "platform/logging.h"
#include "tests/temporary_unit.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <list>
#include <mutex>
#include <vector>

namespace {

constexpr const char* service_path = "/tmp/service";

// Keeps a diary; what it does with data is the test's to say.
class diary_server_t final : public zel::ipc_server_t {
  public:
    explicit diary_server_t(const std::string& path = service_path) : ipc_server_t{path} {}

    std::function<void(int, std::string_view)> reaction = [](int, std::string_view) {};

    [[nodiscard]] std::string diary() {
        const std::lock_guard lock{lock_};
        return diary_;
    }

  private:
    void write(std::string_view text) {
        const std::lock_guard lock{lock_};
        diary_ += text;
    }
    void on_connect(int) override { write("+"); }
    void on_disconnect(int) override { write("-"); }
    void on_data(int fd, const char* bytes, std::size_t length) override {
        write({bytes, length});
        reaction(fd, {bytes, length});
    }

    std::mutex lock_;
    std::string diary_;
};

struct client_t : zel::unix_stream_socket_t {
    client_t() : unix_stream_socket_t{service_path} {
        EXPECT_TRUE(tests::eventually([this] { return connect(); }));
    }
    void say(std::string_view text) { EXPECT_EQ(send(text.data(), text.size()), std::ssize(text)); }
};

class ipc_server : public ::testing::Test {
  protected:
    ~ipc_server() override {
        server_.stop = true;
        if (thread_.joinable()) {
            thread_.join();
        }
    }
    void start() {
        thread_ = std::thread{[this] { result_ = server_.run(); }};
        ASSERT_TRUE(tests::eventually([this] { return server_.is_listening(); }));
    }
    bool diary_becomes(const std::string& text) {
        return tests::eventually([&] { return server_.diary() == text; });
    }

    tests::temporary_unit_t unit_;
    diary_server_t server_;
    std::thread thread_;
    int result_ = 1;
};

TEST_F(ipc_server, a_client_is_heard_before_it_is_seen_to_leave) {
    start();
    client_t{}.say("last words");
    EXPECT_TRUE(diary_becomes("+last words-"));
    const client_t silent;
    ::shutdown(silent.fd(), SHUT_WR);
    EXPECT_TRUE(diary_becomes("+last words-+-"));
}

TEST_F(ipc_server, several_hundred_clients_are_served_at_once_and_told_apart) {
    server_.reaction = [this](int fd, std::string_view text) {
        EXPECT_EQ(server_.send(fd, text.data(), text.size(), 100), std::ssize(text));
    };
    start();
    std::list<client_t> clients(400);
    int number = 0;
    for (auto& client : clients) {
        client.say(std::to_string(++number));
    }
    number = 0;
    for (auto& client : clients) {
        ASSERT_TRUE(client.wait_readable(10'000));
        EXPECT_EQ(client.read_available(), std::to_string(++number));
    }
    clients.clear();
    EXPECT_TRUE(tests::eventually([this] { return std::ranges::count(server_.diary(), '-') == 400; }));
}

TEST_F(ipc_server, a_stop_from_within_ends_the_run_without_farewells_and_it_can_run_again) {
    std::ofstream{unit_.root() + service_path} << "left by an earlier process";
    server_.reaction = [this](int, std::string_view) { server_.stop = true; };
    for (const auto* const diary : {"+stop", "+stop+stop"}) {
        start();
        client_t client;
        client.say("stop");
        thread_.join();
        EXPECT_EQ(result_, 0);
        EXPECT_EQ(server_.diary(), diary);
        EXPECT_FALSE(client.wait_readable(10'000)) << "the connection was closed";
        EXPECT_FALSE(std::filesystem::exists(unit_.root() + service_path));
    }
}

TEST_F(ipc_server, a_client_that_does_not_read_is_logged_once_a_stall) {
    const auto log = unit_.root() + "/log";
    zel::register_logger("lin_ipc");
    zel::add_log_file(log);
    ASSERT_TRUE(zel::set_logger_level("lin_ipc", "info"));
    std::atomic<int> served{0};
    std::string expected;
    server_.reaction = [&](int fd, std::string_view) {
        while (server_.send(fd, log.data(), log.size(), 20) > 0) {
        }
        EXPECT_FALSE(server_.send_wait(fd, 20));
        expected += "[lin_ipc] [error] ipc_server_t::send_wait timeout on fd " + std::to_string(fd) +
                    " timeout 20ms\n";
        ++served;
    };
    start();
    client_t client;
    for (const int stall : {1, 2}) {
        client.say("fill");
        ASSERT_TRUE(tests::eventually([&] { return served == stall; }));
        std::ifstream file{log};
        std::string lines;
        for (std::string line; std::getline(file, line);) {
            lines += line.substr(line.find("] [lin_ipc]") + 2) + '\n';
        }
        EXPECT_EQ(lines, expected);
        while (!client.read_available().empty()) {
        }
    }
}

TEST_F(ipc_server, sending_to_somebody_deaf_fails_without_a_signal) {
    std::atomic<ssize_t> sent{1};
    std::atomic<bool> tried{false};
    server_.reaction = [&](int fd, std::string_view text) {
        if (text == "I am deaf") {
            sent = server_.send(fd, "x", 1, 0);
            return;
        }
        ::shutdown(fd, SHUT_RD);
        sent = 0;
        tests::eventually([&] { return tried.load(); });
    };
    start();
    client_t deaf;
    ::shutdown(deaf.fd(), SHUT_RD);
    deaf.say("I am deaf");
    EXPECT_TRUE(tests::eventually([&] { return sent == -1; }));
    client_t unheard;
    unheard.say("are you?");
    EXPECT_TRUE(tests::eventually([&] { return sent == 0; }));
    EXPECT_EQ(unheard.send("x", 1), -1);
    tried = true;
}

TEST_F(ipc_server, a_path_that_cannot_be_bound_ends_the_run_and_leaks_no_descriptor) {
    const auto open_files = [] {
        return std::distance(std::filesystem::directory_iterator{"/proc/self/fd"}, {});
    };
    const auto before = open_files();
    for (const std::string& path :
         {std::string{"/nowhere/service"}, "/tmp/" + std::string(108, 'p'), std::string{"/tmp/%d"}}) {
        diary_server_t server{path};
        EXPECT_LT(server.run(), 0) << path;
    }
    EXPECT_EQ(open_files(), before);
}

}  // namespace
