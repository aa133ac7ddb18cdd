#include "tests/golden.h"
#include "tools/exporter/exporter.h"

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

enum class end_e { close, reset, hold };

/// Answers every connection to a port of its own with the same text, until it is destroyed.
class web_server_t {
  public:
    explicit web_server_t(std::string answer, end_e end = end_e::close)
        : answer_{std::move(answer)}, end_{end} {
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
        held_.push_back(listener_);
        for (const int fd : held_) {
            ::close(fd);
        }
    }
    [[nodiscard]] const std::string& target() const { return target_; }
    [[nodiscard]] int asked() const { return asked_; }
    /// What the last one asked; only once it has its answer.
    [[nodiscard]] const std::string& request() const { return request_; }
    [[nodiscard]] exporter::probe_result_t ask(std::chrono::milliseconds time = 20s) const {
        return exporter::probe(*exporter::parse_target(target_, 80), {}, steady_clock::now() + time);
    }

  private:
    void serve() {
        for (int peer = 0; (peer = ::accept(listener_, nullptr, nullptr)) >= 0;) {
            std::array<char, 4096> request{};
            const auto length = ::recv(peer, request.data(), request.size(), 0);
            request_.assign(request.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
            ++asked_;
            ::send(peer, answer_.data(), answer_.size(), MSG_NOSIGNAL);
            if (end_ == end_e::hold) {
                held_.push_back(peer);
                continue;
            }
            const linger at_once{end_ == end_e::reset ? 1 : 0, 0};
            ::setsockopt(peer, SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
            ::close(peer);
        }
    }

    int listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    std::string answer_;
    end_e end_;
    std::string target_;
    std::string request_;
    std::atomic<int> asked_ = 0;
    std::vector<int> held_;
    std::thread thread_;
};

const std::string ok = "HTTP/1.0 200 OK\r\n\r\n";

std::string status(const std::string& state, int progress) {
    return ok + "<status><state>" + state + "</state><progress>" + std::to_string(progress) +
           "</progress><detail>";
}

TEST(unit_probe, asks_the_unit_and_nobody_that_it_points_to) {
    ::setenv("http_proxy", "http://127.0.0.1:9", 1);
    const web_server_t good{status("fw_write", 42)};
    const auto result = good.ask();
    ASSERT_TRUE(result.status) << result.problem;
    EXPECT_EQ(result.status->progress, 42);
    EXPECT_GT(result.duration, 0s);
    EXPECT_LT(result.duration, 20s);
    EXPECT_EQ(good.request(), "GET /fw_status.xml HTTP/1.1\r\nHost: " + good.target() +
                                  "\r\nUser-Agent: fwstatus-exporter\r\nAccept: */*\r\n\r\n");
    const web_server_t pointing{"HTTP/1.0 302 Found\r\nLocation: http://" + good.target() +
                                "/fw_status.xml\r\n\r\n"};
    EXPECT_EQ(pointing.ask().problem, "the web server answers with 302");
    EXPECT_EQ(good.asked(), 1);
}

TEST(unit_probe, asks_again_where_the_next_answer_may_be_a_good_one) {
    const auto longest = status("idle", 0);
    const auto fill = 131'072 - (longest.size() - ok.size());
    const std::string shape = "the status file is empty, cut off or of another shape";
    const struct {
        std::string answer;
        end_e end;
        int asked;
        std::string problem;
    } cases[]{
        {ok, end_e::close, 10, shape},
        {"HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n<", end_e::close, 10, "Transferred a partial file"},
        {"", end_e::close, 10, "Server returned nothing (no headers, no data)"},
        {"", end_e::reset, 10, "Failure when receiving data from the peer"},
        {"HTTP/1.0 404 Not Found\r\n\r\n", end_e::close, 1, "the web server answers with 404"},
        {"SSH-2.0-other\r\n", end_e::close, 1, "Unsupported protocol"},
        {longest + std::string(fill, 'x'), end_e::close, 1, ""},
        {longest + std::string(fill + 1, 'x'), end_e::close, 1, "the answer is too long"},
    };
    for (const auto& [answer, end, asked, problem] : cases) {
        const web_server_t server{answer, end};
        const auto result = server.ask();
        EXPECT_EQ(result.problem, problem);
        EXPECT_EQ(result.status.has_value(), problem.empty());
        EXPECT_EQ(server.asked(), asked) << problem;
    }
}

TEST(unit_probe, ends_at_its_deadline) {
    const web_server_t silent{"", end_e::hold};
    for (const auto time : {100ms, 0ms, -100ms}) {
        const auto result = silent.ask(time);
        EXPECT_EQ(result.problem, "Timeout was reached");
        EXPECT_GE(result.duration, time / 2);
        EXPECT_LT(result.duration, 5s);
    }
}

TEST(exporter, takes_no_longer_than_prometheus_waits) {
    const std::pair<const char*, int> cases[]{{"", 5000},    {"10", 5000},  {"5.2", 5000}, {"5.1", 4900},
                                              {"2", 1800},   {"0.35", 150}, {"0.2", 100},  {"0.11", 100},
                                              {"0.1", 5000}, {"-1", 5000},  {"nan", 5000}, {"1e999", 5000},
                                              {"x", 5000}};
    for (const auto& [said, time] : cases) {
        EXPECT_EQ(exporter::time_for_a_unit(said, 5s).count(), time) << said;
    }
}

/// Puts a name in place of every number of at least so many characters that stands behind a text.
std::string named(std::string text, std::string_view before, std::size_t shortest, std::string_view name) {
    for (auto at = text.find(before); at != std::string::npos; at = text.find(before, at)) {
        at += before.size();
        const auto length = std::min(text.find_first_not_of("0123456789.", at), text.size()) - at;
        if (length >= shortest) {
            text.replace(at, length, name);
        }
    }
    return text;
}

// The duration, in microseconds, varies, and so do ports.
std::string page(const exporter::exporter_t::answer_t& answer) {
    const auto text = named(named(answer.text, "_seconds ", 8, "N"), ":", 4, "PORT");
    return std::to_string(answer.status) + "\n" + text + "\n";
}

TEST(exporter, answers_with_these_pages) {
    const web_server_t writing{status("fw_write", 42)};
    const web_server_t other{status("validate", -1)};
    const web_server_t starting{status("initializing", 0)};
    const web_server_t none{"HTTP/1.0 404 Not Found\r\n\r\n"};
    const web_server_t silent{"", end_e::hold};
    exporter::exporter_t asked{{.probe = {}, .timeout = 1s, .most_at_once = 1}};
    exporter::allow_list_t list{80};
    list.add("127.0.0.1:*");
    EXPECT_EQ(asked.probe(writing.target(), "").status, 403) << "nothing is allowed unless it is said";
    asked.allow(list);
    std::string pages;
    for (const auto& target : {writing.target(), other.target(), starting.target(), none.target(),
                               std::string{"unit/24"}, std::string{"10.0.0.7"}}) {
        pages += page(asked.probe(target, ""));
    }
    exporter::exporter_t by_https{{.probe = {.https = true, .certificates = ""}}};
    pages += page(by_https.probe("10.0.0.7", ""));
    std::string late;
    std::thread first{[&] { late = page(asked.probe(silent.target(), "")); }};
    while (asked.metrics().find("running 1") == std::string::npos) {
        std::this_thread::yield();
    }
    pages += page(asked.probe(writing.target(), ""));
    pages += asked.metrics();
    first.join();
    pages += "\n" + late + asked.metrics();
    EXPECT_EQ(pages, tests::golden_text("pages.txt", pages));
}

}  // namespace
