#include "io/serial_port.h"
#include "platform/exceptions.h"
#include "sim/pseudo_terminal.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <string>
#include <string_view>
#include <vector>

namespace {

using zel::data_bits_e;
using zel::flow_control_e;
using zel::parity_e;
using zel::stop_bits_e;

// "message/number" of the fault that an operation throws; empty when it throws none.
template <typename operation_t>
std::string fault_of(operation_t operation) {
    try {
        operation();
    } catch (const zel::serial_port_exception& fault) {
        return fault.context() + '/' + std::to_string(fault.error_number());
    }
    return {};
}

std::string with_number(const std::string& message, int number) {
    return message + '/' + std::to_string(number);
}

struct serial_port : testing::Test {
    void SetUp() override { port.open(line.path(), O_NONBLOCK); }

    [[nodiscard]] termios attributes() const {
        termios current{};
        port.get_attributes(current);
        return current;
    }
    void module_sends(std::string_view bytes) const {
        ASSERT_EQ(::write(line.our_end(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    [[nodiscard]] std::string module_receives() const {
        pollfd readable{line.our_end(), POLLIN, 0};
        std::array<char, 256> bytes{};
        const auto count =
            ::poll(&readable, 1, 2000) == 1 ? ::read(line.our_end(), bytes.data(), bytes.size()) : 0;
        return {bytes.data(), count > 0 ? static_cast<std::size_t>(count) : 0};
    }

    sim::pseudo_terminal_t line;
    zel::serial_port port;
};

TEST_F(serial_port, a_wait_lasts_its_whole_time_whether_something_has_arrived_or_not) {
    port.set_raw();
    for (const std::string_view arrived : {"", "C"}) {
        module_sends(arrived);
        double timeout_ms = 60.5;
        const auto start = std::chrono::steady_clock::now();
        EXPECT_FALSE(port.wait(timeout_ms, true, true));
        EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::microseconds{60'500});
        EXPECT_EQ(timeout_ms, 0.0);
    }
}

TEST_F(serial_port, a_wait_that_cannot_be_made_leaves_the_time_as_it_was) {
    double negative = -5;
    EXPECT_EQ(fault_of([&] { port.wait(negative, true, false); }), with_number("select failed", EINVAL));
    double endless = 1e300;
    EXPECT_EQ(fault_of([&] { port.wait(endless, true, false); }), with_number("select failed", EINVAL));
    EXPECT_EQ(endless, 1e300);
}

TEST_F(serial_port, a_descriptor_too_large_for_a_descriptor_set_is_refused) {
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
    std::vector<int> others;
    while (others.empty() || others.back() < FD_SETSIZE - 1) {
        others.push_back(::dup(line.units_end()));
        ASSERT_GE(others.back(), 0);
    }
    zel::serial_port high;
    high.open(line.path(), O_NONBLOCK);
    for (const int descriptor : others) {
        ::close(descriptor);
    }
    double timeout_ms = 10;
    EXPECT_EQ(fault_of([&] { high.wait(timeout_ms, true, true); }), with_number("select failed", EBADF));
    EXPECT_EQ(high.write("abc", 3), 3u);
}

TEST(closed_serial_port, every_operation_fails_with_its_own_message) {
    zel::serial_port port;
    std::array<char, 4> bytes{};
    double timeout_ms = 10;
    EXPECT_EQ(fault_of([&] { port.open("/dev/no-such-line", 0); }), with_number("open failed", ENOENT));
    EXPECT_FALSE(port.is_open());
    EXPECT_EQ(fault_of([&] { port.wait(timeout_ms, true, false); }), with_number("select failed", EINVAL));
    EXPECT_EQ(fault_of([&] { port.set_raw(); }), with_number("get attribute", EBADF));
    EXPECT_EQ(fault_of([&] { port.set_attributes({}); }), with_number("set attribute", EBADF));
    EXPECT_EQ(fault_of([&] { port.send_break(0); }), with_number("set attribute", EBADF));
    EXPECT_EQ(fault_of([&] { port.write("a", 1); }), with_number("write error", EBADF));
    EXPECT_EQ(fault_of([&] { port.read(bytes.data(), 1); }), with_number("read error", EBADF));
    EXPECT_EQ(fault_of([&] { port.close(); }), with_number("close failed", EBADF));
}

TEST_F(serial_port, opening_again_gives_up_the_device_held_before) {
    const int next_free = ::dup(line.units_end());
    ::close(next_free);
    port.open(line.path(), O_NONBLOCK);
    port.close();
    EXPECT_FALSE(port.is_open());
    port.open(line.path(), 0);
    const int still_free = ::dup(line.units_end());
    EXPECT_EQ(still_free, next_free);
    ::close(still_free);
}

TEST_F(serial_port, configuring_makes_a_raw_line_of_the_speed_asked_for) {
    auto before = attributes();
    before.c_iflag |= INLCR | IGNCR | ICRNL | IXON | IXANY;
    before.c_cflag |= CSTOPB | CRTSCTS;
    before.c_cflag &= ~tcflag_t{CLOCAL};
    port.set_attributes(before);

    port.configure(B115200, data_bits_e::eight, parity_e::none, stop_bits_e::one, flow_control_e::none);
    const auto raw = attributes();
    EXPECT_EQ(::cfgetispeed(&raw), speed_t{B115200});
    EXPECT_EQ(::cfgetospeed(&raw), speed_t{B115200});
    EXPECT_EQ(raw.c_cflag & (CREAD | CLOCAL | CSTOPB | CRTSCTS | CSIZE | PARENB),
              tcflag_t{CREAD | CLOCAL | CS8});
    EXPECT_EQ(raw.c_iflag & (INLCR | IGNCR | ICRNL | IXON | IXOFF | IXANY), 0u);
    EXPECT_EQ(raw.c_oflag & OPOST, 0u);
    EXPECT_EQ(raw.c_lflag & (ICANON | ECHO | ECHOE | ISIG), 0u);

    port.configure(B9600, data_bits_e::eight, parity_e::odd, stop_bits_e::one, flow_control_e::software);
    const auto software = attributes();
    EXPECT_EQ(::cfgetospeed(&software), speed_t{B9600});
    EXPECT_EQ(software.c_iflag & (IXON | IXOFF | IXANY | INPCK | ISTRIP),
              tcflag_t{IXON | IXOFF | IXANY | INPCK | ISTRIP});
    EXPECT_NE(software.c_cflag & PARODD, 0u);

    port.configure(B9600, data_bits_e::eight, parity_e::even, stop_bits_e::one, flow_control_e::hardware);
    const auto hardware = attributes();
    EXPECT_EQ(hardware.c_iflag & (IXON | IXOFF | IXANY), 0u);
    EXPECT_EQ(hardware.c_cflag & (CRTSCTS | PARODD), tcflag_t{CRTSCTS});
}

// A pseudo-terminal forces CREAD, eight bits and no parity; these are looked at before it gets hold of them.
TEST(line_settings, two_stop_bits_clear_every_control_bit_but_data_size_and_flow) {
    for (const tcflag_t stop : {tcflag_t{0}, tcflag_t{CSTOPB}}) {
        termios attributes{};
        attributes.c_cflag = stop | CREAD | HUPCL;
        zel::apply_line_settings(attributes, B115200, data_bits_e::seven, parity_e::odd, stop_bits_e::two,
                                 flow_control_e::hardware);
        EXPECT_EQ(attributes.c_cflag, stop | CS7 | CRTSCTS);
        EXPECT_EQ(attributes.c_iflag, tcflag_t{INPCK | ISTRIP});
    }
}

TEST(line_settings, each_parity_is_set_and_an_unknown_one_leaves_it_as_it_was) {
    const auto parity_bits_after = [](tcflag_t before, int parity) {
        termios attributes{};
        attributes.c_cflag = before;
        zel::apply_line_settings(attributes, B9600, data_bits_e::eight, static_cast<parity_e>(parity),
                                 stop_bits_e::one, flow_control_e::none);
        return attributes.c_cflag & (PARENB | PARODD);
    };
    EXPECT_EQ(parity_bits_after(PARENB | PARODD, 0), tcflag_t{PARODD});
    EXPECT_EQ(parity_bits_after(0, 1), tcflag_t{PARENB | PARODD});
    EXPECT_EQ(parity_bits_after(PARODD, 2), tcflag_t{PARENB});
    EXPECT_EQ(parity_bits_after(PARENB | PARODD, 5), tcflag_t{PARENB | PARODD});
}

TEST_F(serial_port, an_unknown_option_is_refused_before_the_device_is_touched) {
    const auto before = attributes();
    const auto message_for = [&](int data_bits, int stop_bits, int flow) {
        const auto fault = fault_of([&] {
            port.configure(B115200, static_cast<data_bits_e>(data_bits), parity_e::none,
                           static_cast<stop_bits_e>(stop_bits), static_cast<flow_control_e>(flow));
        });
        return fault.substr(0, fault.find('/'));
    };
    EXPECT_EQ(message_for(2, 2, 3), "unknown stop bit size option");
    EXPECT_EQ(message_for(2, 0, 3), "unknown data bit size option");
    EXPECT_EQ(message_for(1, 0, -1), "unknown flow control option");
    const auto after = attributes();
    EXPECT_EQ(::cfgetospeed(&after), ::cfgetospeed(&before));
    EXPECT_EQ(after.c_lflag, before.c_lflag);
    EXPECT_EQ(after.c_oflag, before.c_oflag);
}

TEST_F(serial_port, single_settings_change_their_own_bits_only) {
    const auto at_first = attributes();
    port.set_raw();
    EXPECT_EQ(attributes().c_lflag, at_first.c_lflag & ~tcflag_t{ICANON | ECHO | ECHOE | ISIG});
    port.set_canonical();
    EXPECT_EQ(attributes().c_lflag, at_first.c_lflag & ~tcflag_t{ISIG});
    port.clear_output_processing();
    EXPECT_EQ(attributes().c_oflag, at_first.c_oflag & ~tcflag_t{OPOST});
    port.set_output_processing();
    EXPECT_EQ(attributes().c_oflag, at_first.c_oflag | OPOST);

    port.set_read_timeout(1099);
    EXPECT_EQ(attributes().c_oflag & OPOST, 0u);
    EXPECT_EQ(attributes().c_cc[6], 0);
    EXPECT_EQ(attributes().c_cc[8], 10);
    port.set_read_timeout(30'000);
    EXPECT_EQ(attributes().c_cc[8], 300 % 256);
}

TEST_F(serial_port, reading_takes_what_has_arrived_and_fails_while_nothing_has) {
    std::array<char, 8> bytes{};
    port.set_raw();
    EXPECT_EQ(fault_of([&] { port.read(bytes.data(), 1); }), with_number("read error", EAGAIN));
    module_sends("Cd");
    double timeout_ms = 20;
    port.wait(timeout_ms, true, false);
    EXPECT_EQ(port.read(bytes.data(), 1), 1u);
    EXPECT_EQ(port.read(bytes.data() + 1, 7), 1u);
    EXPECT_EQ(std::string_view(bytes.data(), 2), "Cd");

    port.set_read_timeout(1000);
    const auto outcome = fault_of([&] { EXPECT_EQ(port.read(bytes.data(), 1), 0u); });
    EXPECT_EQ(outcome, VMIN == 6 ? "" : with_number("read error", EAGAIN));
}

TEST_F(serial_port, writing_sends_all_bytes_or_fails) {
    port.set_raw();
    port.clear_output_processing();
    EXPECT_EQ(port.write("abc\n", -1), 4u);
    EXPECT_EQ(module_receives(), "abc\n");
    EXPECT_EQ(port.write("\0\x99z", 2), 2u);
    EXPECT_EQ(module_receives(), std::string_view("\0\x99", 2));
    EXPECT_EQ(port.write("", -1), 0u);

    port.send_break(0);
    const std::string more_than_the_line_holds(1u << 20u, 'x');
    EXPECT_EQ(fault_of([&] { port.write(more_than_the_line_holds.c_str(), -1); }).substr(0, 11),
              "write error");
    line.hang_up();
    EXPECT_EQ(fault_of([&] { port.write("abc", 3); }), with_number("write error", EIO));
}

}  // namespace
