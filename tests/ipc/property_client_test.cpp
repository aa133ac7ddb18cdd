#include "ipc/property_client.h"
#include "ipc/property_monitor.h"
#include "platform/logging.h"
#include "sim/peers/engine.h"
#include "sim/root/log_file.h"
#include "sim/unit/unit.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <utility>

namespace {

thread_local int polls = 0;
thread_local std::function<void()> before_poll;

}  // namespace

// Stands before the C library's, to count what the client asks of the system.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name)
extern "C" int poll(pollfd* entries, nfds_t count, int timeout_ms) {
    ++polls;
    if (const auto call = std::exchange(before_poll, nullptr)) {
        call();
        before_poll = call;
    }
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

    sim::unit_root_t unit_{*sim::find_unit("container")};
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

// As long as reads of the client are: a drain that ends leaves no part of a frame.
std::string numbered(int number) {
    auto value = std::to_string(number);
    value.resize(102, ' ');
    return encode({"changed", "/a", value});
}

TEST_F(property_client, a_drain_ends_however_fast_the_engine_sends_and_the_next_goes_on_from_there) {
    engine_.send_raw(std::string(65'536, 'i'));
    EXPECT_FALSE(receive());
    int sent = 0;
    int taken = 0;
    before_poll = [&] {  // as much as one read takes, just when it would find nothing
        std::string changes;
        for (int i = 0; i < 512; ++i) {
            changes += numbered(sent + i);
        }
        if (sent - taken < 1024) {  // more the client leaves in the socket
            sent += 512;
            engine_.send_raw(changes);
        }
    };
    while (receive()) {
        ASSERT_EQ(std::stoi(last_.value), taken);
        ASSERT_LT(++taken, 100'000);
    }
    EXPECT_EQ(last_.type + last_.name + last_.value, "");
    EXPECT_GE(taken, 262'144 / 128);
    EXPECT_LE(taken, (262'144 + 65'536) / 128);
    EXPECT_TRUE(receive() && std::stoi(last_.value) == taken++);
    // Nor is what one engine sent held against the next.
    for (int i = 0; i < 1500; ++i, ++taken) {
        EXPECT_TRUE(receive());
    }
    before_poll = nullptr;
    EXPECT_TRUE(client_.connect());
    engine_.send_raw(encode({"changed", "/b", ""}));
    while (receive() && last_.name == "/a") {
    }
    EXPECT_EQ(last_.name, "/b");
}

TEST_F(property_client, messages_taken_one_at_a_time_are_no_burst) {
    const std::string value(60'000, 'x');
    for (int i = 0; i < 10; ++i) {
        engine_.send_raw(encode({"changed", "/a", value}));
        ASSERT_TRUE(receives({"changed", "/a", value})) << i;
    }
}

TEST_F(property_client, an_engine_that_shuts_down_its_side_is_read_to_the_end_and_not_waited_for) {
    engine_.send_raw(encode({"changed", "/a", std::string(300, 'x')}) + "ipc_ma");
    engine_.half_close_clients();
    EXPECT_TRUE(receives({"changed", "/a", std::string(300, 'x')}));
    for (const int timeout_ms : {0, 30'000, -1}) {
        polls = 0;
        EXPECT_FALSE(receive(timeout_ms));
        EXPECT_LE(polls, 2);
    }
    EXPECT_TRUE(client_.create("/a"));
    EXPECT_TRUE(sim::wait_until([&] { return !engine_.requests().empty(); })) << "the other way is open";
    engine_.drop_clients();
    EXPECT_FALSE(client_.get("/a"));
    EXPECT_FALSE(receive(-1));
    EXPECT_TRUE(client_.is_connected());
}

TEST_F(property_client, an_engine_that_stops_reading_holds_a_request_for_a_second_only) {
    engine_.stall(true);
    const std::string value(60'000, 'x');
    auto start = std::chrono::steady_clock::now();
    while (client_.set("/a", value)) {
        start = std::chrono::steady_clock::now();
    }
    const auto held = std::chrono::steady_clock::now() - start;
    EXPECT_TRUE(held > std::chrono::milliseconds{950} && held < std::chrono::seconds{10});
    EXPECT_TRUE(client_.is_connected());
    // More than a socket takes at once arrives whole where it is read.
    engine_.stall(false);
    EXPECT_TRUE(client_.connect());
    auto requests = encode({"create", "/a"});
    for (int i = 0; i < 40; ++i) {
        requests += encode({"set", "/a", value});
    }
    EXPECT_TRUE(client_.send_frame(requests + encode({"set", "/a", "the last"})));
    EXPECT_TRUE(sim::wait_until([&] { return engine_.get("/a") == "the last"; }));
}

TEST_F(property_client, idle_it_asks_the_system_once_and_closed_not_at_all) {
    engine_.send_raw(encode({"changed", "/a", "1"}));
    polls = 0;
    EXPECT_TRUE(receive());
    EXPECT_FALSE(receive());
    EXPECT_EQ(polls, 2);
    EXPECT_EQ(client_.close(), 0);
    EXPECT_EQ(client_.close(), -1);
    EXPECT_FALSE(receive(-1));
    EXPECT_EQ(polls, 2);
}

TEST_F(property_client, a_property_is_read_by_the_next_message_whatever_that_is) {
    zel::setup_logging("ipc_tests", "stdout_color_sink_mt");
    const sim::log_capture_t log;
    engine_.stay_silent(true);
    const auto read = [this](const std::string& answer) {
        engine_.send_raw(answer);
        std::string value = "left over";
        return (client_.wait_for_something("/a", value, 20) ? "read " : "failed ") + value;
    };
    EXPECT_EQ(read(encode({"get_response", "/a", "1"})), "read 1");
    EXPECT_EQ(read(encode({"error", "no_property", "/a"})), "read ");
    EXPECT_EQ(read(encode({"error", "other", "/a"})), "failed ");
    EXPECT_EQ(read(encode({"get_response", "/b", "1"})), "failed ");
    EXPECT_EQ(read(encode({"changed", "/a", "2"}) + encode({"get_response", "/a", "2"})), "failed ");
    EXPECT_EQ(read(""), "read 2") << "the answer that was left";
    EXPECT_EQ(log.text(), "");
    EXPECT_EQ(read("ipc_magi"), "failed ");
    EXPECT_TRUE(log.has("[error] property_client_t::wait_for_something failed looking for /a\n"));
}

TEST_F(property_client, a_monitor_follows_and_sets_one_property) {
    engine_.set("/volume", "7");
    zel::property_monitor_t monitor{"/volume"};
    EXPECT_TRUE(sim::wait_until([&] { return engine_.requests().size() == 3; }));
    EXPECT_EQ(engine_.requests(),
              (std::vector<std::string>{"create /volume", "get /volume", "monitor /volume"}));
    EXPECT_TRUE(monitor.current_value() == "7" && monitor.set_value("8"));
    EXPECT_EQ(monitor.current_value(), "8") << "before the engine confirms it";
    EXPECT_TRUE(sim::wait_until([&] { return engine_.get("/volume") == "8"; }));
    engine_.send_raw(encode({"changed", "/volume", "9"}) + encode({"changed", "/other", "x"}));
    EXPECT_EQ(monitor.current_value(), "9");
}

TEST_F(property_client, a_read_asks_through_the_derived_client) {
    struct asking_t : zel::property_client_t {
        bool get(const std::string& name) override { return property_client_t::get(name + "/asked"); }
    } client;
    engine_.set("/a", "1");
    ASSERT_TRUE(client.connect());
    std::string value;
    EXPECT_TRUE(client.wait_for_something("/a", value, 1000));
    EXPECT_EQ(engine_.requests(), std::vector<std::string>{"get /a/asked"});
    EXPECT_EQ(value, "");
}

TEST_F(property_client, has_its_operations_in_the_slots_where_programs_built_long_ago_call_them) {
    zel::property_client_intf_t* const client = &client_;
    auto* const* const slots = *reinterpret_cast<void* const* const*>(client);
    const auto call = [&](int slot, auto... arguments) {
        return reinterpret_cast<bool (*)(void*, decltype(arguments)...)>(slots[slot - 1])(client,
                                                                                          arguments...);
    };
    const std::string name = "/a";
    const std::string value = "1";
    std::string read;
    EXPECT_TRUE(call(1) && call(3) && call(4, &name) && call(5, &name) && call(6, &name, &value) &&
                call(7, &name) && call(8, &name));
    EXPECT_TRUE(call(9, &name, &read, 1000));
    EXPECT_TRUE(sim::wait_until([&] { return engine_.requests().size() == 6; }));
    EXPECT_EQ(engine_.requests(), (std::vector<std::string>{"create /a", "get /a", "set /a 1", "list /a",
                                                            "monitor /a", "get /a"}));
    EXPECT_EQ(reinterpret_cast<int (*)(void*)>(slots[1])(client), 0);
    EXPECT_FALSE(call(3));
}

}  // namespace
