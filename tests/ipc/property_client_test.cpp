#include "ipc/property_client.h"
#include "ipc/property_monitor.h"
#include "platform/logging.h"
#include "sim/engine.h"
#include "tests/temporary_unit.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <fstream>
#include <iterator>

namespace {

thread_local int polls = 0;

}  // namespace

// Stands before the C library's, to count what the client asks of the system.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
extern "C" int poll(pollfd* entries, nfds_t count, int timeout_ms) {
    ++polls;
    timespec timeout{timeout_ms / 1000, timeout_ms % 1000 * 1'000'000L};
    return static_cast<int>(
        ::syscall(SYS_ppoll, entries, count, timeout_ms < 0 ? nullptr : &timeout, nullptr, 0));
}

namespace {

using zel::frame::encode;

struct message_t {
    std::string type, name, value;
    bool operator==(const message_t&) const = default;
};

class property_client : public ::testing::Test {
  protected:
    property_client() {
        ::alarm(60);  // a wait without end ends the test
        EXPECT_TRUE(engine_.start() && client_.connect());
    }
    bool receive(int timeout_ms = 0) {
        return client_.receive_message(last_.type, last_.name, last_.value, timeout_ms);
    }
    bool receives(const message_t& expected) { return receive() && last_ == expected; }

    tests::temporary_unit_t unit_;
    sim::engine_t engine_;
    zel::property_client_t client_;
    message_t last_;
};

TEST_F(property_client, a_stream_cut_at_every_byte_is_read_whole) {
    const auto stream =
        "\x01\x02" + encode({"changed", "/a", "1"}) + "ipc_mag" + encode({"get_response", "/b", ""});
    const std::vector<message_t> expected{{"changed", "/a", "1"}, {"get_response", "/b", ""}};
    for (std::size_t cut = 0; cut <= stream.size(); ++cut) {
        std::vector<message_t> messages;
        for (const auto& part : {stream.substr(0, cut), stream.substr(cut)}) {
            engine_.send_raw(part);
            while (receive()) {
                messages.push_back(last_);
            }
        }
        ASSERT_EQ(messages, expected) << "cut after " << cut;
    }
}

TEST_F(property_client, a_message_of_other_than_three_fields_tells_whether_more_is_at_hand) {
    for (const auto& malformed : {encode({"a"}), encode({"a", "b"}), encode({"a", "b", "c", "d"})}) {
        engine_.send_raw(malformed);
        EXPECT_FALSE(receive());
        EXPECT_EQ(last_, (message_t{"error", "bad_payload", ""}));
        engine_.send_raw(malformed + encode({"changed", "/a", "1"}));
        EXPECT_TRUE(receives({"error", "bad_payload", ""}));
        EXPECT_TRUE(receives({"changed", "/a", "1"}));
    }
}

TEST_F(property_client, garbage_of_any_length_and_frames_without_fields_are_passed_over) {
    std::string garbage;
    while (garbage.size() < 65'536) {
        garbage += "ipc_magi";
    }
    engine_.send_raw(garbage + encode({"changed", "/a", "1"}));
    EXPECT_TRUE(receives({"changed", "/a", "1"}));
    engine_.send_raw(encode({}));
    EXPECT_FALSE(receive(20));
    EXPECT_EQ(last_, message_t{});
    engine_.send_raw(encode({"changed", "/a", "2"}));
    EXPECT_TRUE(receives({"changed", "/a", "2"}));
}

TEST_F(property_client, a_burst_larger_than_any_buffer_arrives_complete_and_in_order) {
    constexpr int count = 40'000;
    std::string burst;
    for (int i = 0; i < count; ++i) {
        burst += encode({"changed", "/number", std::to_string(i)});
    }
    std::thread sender{[&] { engine_.send_raw(burst); }};
    int expected = 0;
    while (expected < count && receive(10'000) && last_.value == std::to_string(expected)) {
        ++expected;
    }
    EXPECT_EQ(expected, count);
    sender.join();
}

TEST_F(property_client, a_drain_ends_although_the_engine_sends_on_and_the_next_one_goes_on_from_there) {
    constexpr int batch = 1000;
    std::string changes;
    for (int i = 0; i < batch; ++i) {
        changes += encode({"changed", "/a", std::to_string(i)});
    }
    engine_.send_raw(changes);
    int taken = 0;
    while (receive()) {
        if (++taken % batch == 0) {
            ASSERT_LT(taken, 100 * batch);
            engine_.send_raw(changes);  // just when it would have found nothing
        }
    }
    EXPECT_TRUE(receives({"changed", "/a", std::to_string(taken % batch)}));
}

TEST_F(property_client, an_engine_that_shuts_down_its_side_is_read_to_the_end_and_not_waited_for) {
    engine_.set("/a", "1");
    engine_.send_raw(encode({"changed", "/a", std::string(300, 'x')}) + "ipc_ma");
    engine_.half_close_clients();
    EXPECT_TRUE(receives({"changed", "/a", std::string(300, 'x')}));
    for (const int timeout_ms : {0, 30'000, -1}) {
        polls = 0;
        EXPECT_FALSE(receive(timeout_ms));
        EXPECT_LE(polls, 2);
    }
    EXPECT_TRUE(client_.set("/a", "2"));
    EXPECT_TRUE(tests::eventually([&] { return engine_.get("/a") == "2"; })) << "the other way is open";
    engine_.drop_clients();
    EXPECT_FALSE(client_.get("/a"));
    EXPECT_FALSE(receive(-1));
    EXPECT_TRUE(client_.is_connected());
}

TEST_F(property_client, an_engine_that_stops_reading_holds_a_request_for_a_second_only) {
    engine_.stall(true);
    const std::string value(60'000, 'x');
    while (client_.set("/a", value)) {
    }
    EXPECT_TRUE(client_.is_connected());
}

TEST_F(property_client, idle_it_asks_the_system_once_and_closed_not_at_all) {
    polls = 0;
    EXPECT_FALSE(receive());
    EXPECT_EQ(polls, 1);
    engine_.send_raw(encode({"changed", "/a", "1"}));
    polls = 0;
    EXPECT_TRUE(receive());
    EXPECT_FALSE(receive());
    EXPECT_EQ(polls, 2);
    EXPECT_EQ(client_.close(), 0);
    EXPECT_EQ(client_.close(), -1);
    polls = 0;
    EXPECT_FALSE(receive(-1));
    EXPECT_FALSE(client_.is_connected());
    EXPECT_EQ(polls, 0);
}

TEST_F(property_client, a_property_is_read_by_the_next_message_whatever_that_is) {
    const auto log = unit_.root() + "/log";
    zel::setup_logging("ipc_tests", "stdout_color_sink_mt");
    zel::add_log_file(log);
    ASSERT_TRUE(zel::set_logger_level("ipc_tests", "info"));
    engine_.stay_silent(true);
    using result_t = std::pair<bool, std::string>;
    const auto read = [this](const std::string& answer) {
        engine_.send_raw(answer);
        std::string value = "left over";
        const bool result = client_.wait_for_something("/a", value, 20);
        return result_t{result, value};
    };
    EXPECT_EQ(read(encode({"get_response", "/a", "1"})), result_t(true, "1"));
    EXPECT_EQ(read(encode({"error", "no_property", "/a"})), result_t(true, ""));
    EXPECT_EQ(read(encode({"error", "other", "/a"})), result_t(false, ""));
    EXPECT_EQ(read(encode({"get_response", "/b", "1"})), result_t(false, ""));
    EXPECT_EQ(read(encode({"changed", "/a", "2"}) + encode({"get_response", "/a", "2"})),
              result_t(false, ""));
    EXPECT_EQ(read(""), result_t(true, "2")) << "the answer that was left";
    EXPECT_EQ(read(encode({"a", "b"}) + "i"), result_t(false, ""));
    EXPECT_EQ(std::ifstream{log}.peek(), std::ifstream::traits_type::eof()) << "none of these is logged";
    EXPECT_EQ(read("pc_magi"), result_t(false, ""));
    std::ifstream file{log};
    const std::string text{std::istreambuf_iterator<char>{file}, {}};
    EXPECT_NE(text.find("[ipc_tests] [error] property_client_t::wait_for_something failed looking for /a\n"),
              std::string::npos);
}

TEST_F(property_client, a_monitor_follows_one_property_and_survives_an_engine_that_dies_in_mid_frame) {
    engine_.set("/volume", "7");
    zel::property_monitor_t monitor{"/volume"};
    zel::property_monitor_t other{"/new"};
    EXPECT_EQ(monitor.current_value(), "7");
    EXPECT_TRUE(other.set_value("x"));
    EXPECT_TRUE(tests::eventually([&] { return engine_.get("/new") == "x"; }));
    engine_.set("/volume", "8");
    engine_.send_raw(encode({"changed", "/volume", "9"}) +
                     encode({"changed", "/volume", "10"}).substr(0, 20));
    EXPECT_EQ(monitor.current_value(), "9");
    engine_.shut_down();
    EXPECT_EQ(monitor.current_value(), "9");
    EXPECT_FALSE(monitor.set_value("1"));
}

TEST(unix_stream_socket, a_path_that_no_address_can_hold_is_refused) {
    const tests::temporary_unit_t unit;
    const std::string longest = "/tmp/" + std::string(107 - unit.root().size() - 5, 'p');
    const std::pair<std::string, int> cases[]{
        {"/tmp/100%s", EINVAL}, {longest, ENOENT}, {longest + "p", ENAMETOOLONG}};
    for (const auto& [path, error] : cases) {
        zel::unix_stream_socket_t socket{path};
        EXPECT_FALSE(socket.connect());
        EXPECT_EQ(errno, error) << path;
        EXPECT_EQ(socket.fd(), -1);
    }
}

}  // namespace
