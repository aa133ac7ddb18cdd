#include "io/serial/serial_port.h"
#include "platform/exceptions.h"
#include "sim/peers/pseudo_terminal.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

std::vector<std::pair<int, int>> breaks;

}  // namespace

// Stands before the C library's: a pseudo-terminal lets no break be seen.
extern "C" int tcsendbreak(int fd, int duration) {
    breaks.emplace_back(fd, duration);
    return ::ioctl(fd, TCSBRK, 0);
}

namespace {

// "message/error" of the fault that an operation throws; empty when it throws none.
template <typename operation_t>
std::string fault_of(operation_t operation) {
    try {
        operation();
    } catch (const zel::serial_port_exception& fault) {
        return fault.context() + '/' + ::strerrorname_np(fault.error_number());
    }
    return {};
}

struct serial_port : testing::Test {
    serial_port() { port.open(line.path(), O_NONBLOCK); }

    [[nodiscard]] termios attributes() const {
        termios current{};
        port.get_attributes(current);
        return current;
    }
    // What a line passes on takes the kernel a moment.
    void settle() const {
        double settle_ms = 100;
        port.wait(settle_ms, false, false);
    }

    sim::pseudo_terminal_t line;
    zel::serial_port port;
};

TEST_F(serial_port, a_wait_lasts_its_whole_time_whether_something_has_arrived_or_not) {
    port.set_raw();
    for (double timeout_ms : {60.5, 1060.5}) {
        const std::chrono::duration<double, std::milli> least{timeout_ms};
        const auto start = std::chrono::steady_clock::now();
        EXPECT_FALSE(port.wait(timeout_ms, true, true));
        const auto waited = std::chrono::steady_clock::now() - start;
        EXPECT_TRUE(waited >= least && waited < least + std::chrono::milliseconds{950});
        EXPECT_EQ(timeout_ms, 0.0);
        ASSERT_EQ(::write(line.our_end(), "C", 1), 1);
    }
    for (double impossible_ms : {-5.0, 1e300}) {
        EXPECT_EQ(fault_of([&] { port.wait(impossible_ms, true, true); }), "select failed/EINVAL");
    }
}

TEST_F(serial_port, a_descriptor_too_large_for_a_descriptor_set_is_not_waited_for) {
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
    double timeout_ms = 10;
    // The system leaves the word of a set alone that begins with the descriptor: it looks like a fault.
    for (const auto& [next, fault] :
         {std::pair{64, "error on device in select/0"}, {FD_SETSIZE, "select failed/EBADF"}}) {
        zel::serial_port high;
        for (int descriptor = 0; descriptor < next - 1;) {
            descriptor = ::dup(line.units_end());
            ASSERT_GE(descriptor, 0);
        }
        high.open(line.path(), O_NONBLOCK);
        EXPECT_EQ(fault_of([&] { high.wait(timeout_ms, true, true); }), fault);
    }
}

TEST_F(serial_port, without_a_device_every_operation_fails_with_its_own_message) {
    double timeout_ms = 10;
    char byte = 0;
    EXPECT_EQ(fault_of([&] { port.open("/dev/no-such-line", 0); }), "open failed/ENOENT");
    EXPECT_EQ(fault_of([&] { port.wait(timeout_ms, true, false); }), "select failed/EINVAL");
    EXPECT_EQ(fault_of([&] { port.set_raw(); }), "get attribute/EBADF");
    EXPECT_EQ(fault_of([&] { port.set_attributes({}); }), "set attribute/EBADF");
    EXPECT_EQ(fault_of([&] { port.send_break(7); }), "set attribute/EBADF");
    EXPECT_EQ(breaks, (std::vector<std::pair<int, int>>{{-1, 7}}));
    EXPECT_EQ(fault_of([&] { port.write("a", 1); }), "write error/EBADF");
    EXPECT_EQ(fault_of([&] { port.read(&byte, 1); }), "read error/EBADF");
    EXPECT_EQ(fault_of([&] { port.close(); }), "close failed/EBADF");
}

TEST_F(serial_port, configuring_makes_a_raw_line_of_the_device_and_an_unknown_option_leaves_it_alone) {
    const auto message_for = [&](int data_bits, int stop_bits, int flow) {
        const auto fault = fault_of([&] {
            port.configure(B115200, zel::data_bits_e{data_bits}, zel::parity_e::none,
                           zel::stop_bits_e{stop_bits}, zel::flow_control_e{flow});
        });
        return fault.substr(0, fault.find('/'));
    };
    const auto before = attributes();
    EXPECT_EQ(message_for(2, 2, 3), "unknown stop bit size option");
    EXPECT_EQ(message_for(2, 0, 3), "unknown data bit size option");
    EXPECT_EQ(message_for(1, 0, -1), "unknown flow control option");
    EXPECT_EQ(attributes().c_lflag, before.c_lflag);
    EXPECT_EQ(message_for(1, 0, 0), "");
    const auto after = attributes();
    EXPECT_EQ(::cfgetospeed(&after), speed_t{B115200});
    EXPECT_EQ(after.c_cflag & (CREAD | CLOCAL | CSTOPB | CSIZE), tcflag_t{CREAD | CLOCAL | CS8});
    EXPECT_EQ(after.c_iflag & (ICRNL | IXON), 0u);
    EXPECT_EQ((after.c_oflag & OPOST) | (after.c_lflag & (ICANON | ECHO | ECHOE | ISIG)), 0u);
}

// A pseudo-terminal forces CREAD, eight bits and no parity: options are looked at before it gets hold of
// them.
TEST(line_settings, each_option_sets_its_bits) {
    constexpr tcflag_t line = CREAD | CLOCAL | B115200;
    constexpr tcflag_t parity_check = INPCK | ISTRIP;
    const struct {
        tcflag_t control_before;
        int data_bits, parity, stop_bits, flow;
        tcflag_t control, input;
    } cases[] = {
        {PARENB | PARODD | CSTOPB | CRTSCTS, 1, 0, 0, 0, line | CS8 | PARODD, 0},
        {0, 0, 1, 0, 1, line | CS7 | PARENB | PARODD, parity_check | IXON | IXOFF | IXANY},
        {PARODD, 0, 2, 0, 2, line | CS7 | PARENB | CRTSCTS, parity_check},
        {PARENB | PARODD, 1, 5, 0, 0, line | CS8 | PARENB | PARODD, 0},
        // Two stop bits leave nothing but what is set after them, and CSTOPB only where it was.
        {HUPCL, 0, 1, 1, 2, CS7 | CRTSCTS, parity_check},
        {CSTOPB, 1, 0, 1, 0, CSTOPB | CS8, 0},
    };
    for (const auto& [before, data_bits, parity, stop_bits, flow, control, input] : cases) {
        termios attributes{};
        attributes.c_cflag = before;
        attributes.c_iflag = IXOFF | INLCR | IGNCR | ICRNL;
        attributes.c_lflag = ICANON | ECHO | ECHOE | ISIG;
        attributes.c_oflag = OPOST;
        zel::apply_line_settings(attributes, B115200, zel::data_bits_e{data_bits}, zel::parity_e{parity},
                                 zel::stop_bits_e{stop_bits}, zel::flow_control_e{flow});
        EXPECT_EQ(std::pair(attributes.c_cflag, attributes.c_iflag), std::pair(control, input)) << flow;
        EXPECT_EQ(attributes.c_lflag | attributes.c_oflag, 0U);
    }
}

TEST_F(serial_port, each_attribute_operation_changes_its_bits_alone) {
    constexpr tcflag_t local = ICANON | ECHO | ECHOE | ISIG;
    const struct {
        void (*run)(const zel::serial_port&);
        tcflag_t local_from_none, local_from_all, output_from_none, output_from_all;
    } operations[] = {
        {[](const auto& on) { on.set_canonical(); }, ICANON | ECHO | ECHOE, local, 0, OPOST},
        {[](const auto& on) { on.set_raw(); }, 0, 0, 0, OPOST},
        {[](const auto& on) { on.set_output_processing(); }, 0, local, OPOST, OPOST},
        {[](const auto& on) { on.clear_output_processing(); }, 0, local, 0, 0},
        {[](const auto& on) { on.set_read_timeout(1000); }, 0, local, 0, 0},
        {[](const auto& on) { on.send_break(0); }, 0, local, 0, OPOST},
    };
    for (const auto& [run, local_from_none, local_from_all, output_from_none, output_from_all] : operations) {
        for (const bool all : {false, true}) {
            auto before = attributes();
            before.c_lflag = all ? before.c_lflag | local : before.c_lflag & ~local;
            before.c_oflag = all ? before.c_oflag | OPOST : before.c_oflag & ~tcflag_t{OPOST};
            before.c_cc[6] = 77;
            before.c_cc[8] = 77;
            port.set_attributes(before);
            run(port);
            const auto after = attributes();
            EXPECT_EQ(after.c_lflag & local, all ? local_from_all : local_from_none);
            EXPECT_EQ(after.c_oflag & OPOST, all ? output_from_all : output_from_none);
            EXPECT_EQ(after.c_lflag & ~local, before.c_lflag & ~local);
            EXPECT_EQ(after.c_cflag, before.c_cflag);
            const bool times = &run == &operations[4].run;
            EXPECT_EQ(after.c_cc[6], times ? 0 : 77);
            EXPECT_EQ(after.c_cc[8], times ? 10 : 77);
        }
    }
}

TEST_F(serial_port, a_line_does_not_become_the_terminal_of_a_session_without_one) {
    const auto open_in_a_session = [this] {
        ::setsid();
        port.open(line.path(), O_NONBLOCK);
        std::_Exit(::open("/dev/tty", O_RDWR | O_CLOEXEC) < 0 ? 0 : 1);
    };
    EXPECT_EXIT(open_in_a_session(), testing::ExitedWithCode(0), "");
}

TEST_F(serial_port, gives_its_device_back_when_it_is_opened_anew_closed_or_gone) {
    const auto lowest_free = [] {
        const int descriptor = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
        ::close(descriptor);
        return descriptor;
    };
    const int before = lowest_free();
    {
        zel::serial_port second;
        EXPECT_FALSE(second.is_open());
        second.open(line.path(), O_NONBLOCK);
        EXPECT_EQ(lowest_free(), before + 1);
        second.open(line.path(), 0);
        EXPECT_EQ(lowest_free(), before + 1);
    }
    EXPECT_EQ(lowest_free(), before);
    EXPECT_TRUE(port.is_open());
    port.close();
    EXPECT_TRUE(!port.is_open() && lowest_free() == before - 1);
    port.open(line.path(), 0);
    const int flags = ::fcntl(before - 1, F_GETFL);
    EXPECT_EQ(flags & (O_ACCMODE | O_NONBLOCK), O_RDWR) << "with the flags that were asked for";
}

TEST_F(serial_port, reading_takes_what_has_arrived_and_writing_sends_all_bytes_or_fails) {
    char bytes[8] = {};
    port.set_raw();
    EXPECT_EQ(fault_of([&] { port.read(bytes, 1); }), "read error/EAGAIN");
    ASSERT_EQ(::write(line.our_end(), "Cd", 2), 2);
    settle();
    EXPECT_EQ(port.read(bytes, 1), 1u);
    EXPECT_EQ(port.read(bytes + 1, 7), 1u);
    EXPECT_STREQ(bytes, "Cd");
    port.set_read_timeout(30'099);
    EXPECT_EQ(attributes().c_cc[8], 300 % 256);

    port.clear_output_processing();
    EXPECT_EQ(port.write("abc\n", -1), 4u);
    EXPECT_EQ(port.write("\0\x99z", 2), 2u);
    settle();
    EXPECT_EQ(::read(line.our_end(), bytes, sizeof bytes), 6);
    EXPECT_EQ(std::string_view(bytes, 6), std::string_view("abc\n\0\x99", 6));
    const std::string more_than_the_line_holds(1u << 20u, 'x');
    EXPECT_TRUE(
        fault_of([&] { port.write(more_than_the_line_holds.c_str(), -1); }).starts_with("write error/"))
        << "with whatever went wrong last: a short write is no error to the system";
    line.hang_up();
    EXPECT_EQ(fault_of([&] { port.write("abc", 3); }), "write error/EIO");
}

}  // namespace
