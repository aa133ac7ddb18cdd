#include "io/serial/serial_port.h"

#include "platform/exceptions.h"

#include <fcntl.h>
#include <sys/select.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <exception>

namespace zel {

namespace {

constexpr tcflag_t line_editing = ICANON | ECHO | ECHOE;
constexpr tcflag_t line_editing_and_signals = line_editing | ISIG;
constexpr tcflag_t software_flow = IXON | IXOFF | IXANY;

// By number and not by name: see set_read_timeout in the header.
constexpr std::size_t cleared_slot = 6;
constexpr std::size_t time_slot = 8;

// Seconds that fit a 32-bit time_t.
constexpr double longest_wait_ms = 2e12;

[[noreturn]] void fail(const char* message, int error_number = errno) {
    throw serial_port_exception{message, error_number};
}

void apply_parity(termios& attributes, parity_e parity) {
    switch (parity) {
    case parity_e::none:
        attributes.c_cflag &= ~tcflag_t{PARENB};
        break;
    case parity_e::odd:
        attributes.c_cflag |= PARENB | PARODD;
        attributes.c_iflag |= INPCK | ISTRIP;
        break;
    case parity_e::even:
        attributes.c_cflag &= ~tcflag_t{PARODD};
        attributes.c_cflag |= PARENB;
        attributes.c_iflag |= INPCK | ISTRIP;
        break;
    }
}

void apply_stop_bits(termios& attributes, stop_bits_e stop_bits) {
    switch (stop_bits) {
    case stop_bits_e::one:
        attributes.c_cflag &= ~tcflag_t{CSTOPB};
        return;
    case stop_bits_e::two:
        attributes.c_cflag &= CSTOPB;
        return;
    }
    fail("unknown stop bit size option");
}

void apply_data_bits(termios& attributes, data_bits_e data_bits) {
    attributes.c_cflag &= ~tcflag_t{CSIZE};
    switch (data_bits) {
    case data_bits_e::seven:
        attributes.c_cflag |= CS7;
        return;
    case data_bits_e::eight:
        attributes.c_cflag |= CS8;
        return;
    }
    fail("unknown data bit size option");
}

void apply_flow_control(termios& attributes, flow_control_e flow) {
    attributes.c_iflag &= ~software_flow;
    attributes.c_cflag &= ~tcflag_t{CRTSCTS};
    switch (flow) {
    case flow_control_e::none:
        return;
    case flow_control_e::software:
        attributes.c_iflag |= software_flow;
        return;
    case flow_control_e::hardware:
        attributes.c_cflag |= CRTSCTS;
        return;
    }
    fail("unknown flow control option");
}

}  // namespace

void apply_line_settings(termios& attributes, speed_t speed, data_bits_e data_bits, parity_e parity,
                         stop_bits_e stop_bits, flow_control_e flow) {
    ::cfsetispeed(&attributes, speed);
    ::cfsetospeed(&attributes, speed);
    attributes.c_cflag |= CREAD | CLOCAL;
    attributes.c_oflag &= ~tcflag_t{OPOST};
    attributes.c_lflag &= ~line_editing_and_signals;
    attributes.c_iflag &= ~tcflag_t{INLCR | IGNCR | ICRNL};
    apply_parity(attributes, parity);
    apply_stop_bits(attributes, stop_bits);
    apply_data_bits(attributes, data_bits);
    apply_flow_control(attributes, flow);
}

serial_port::~serial_port() {
    try {
        if (is_open()) {
            close();
        }
    } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): nobody is left to hear of it
    }
}

void serial_port::open(const std::string& path, int flags) {
    if (is_open()) {
        ::close(descriptor_);
    }
    descriptor_ = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
    if (descriptor_ < 0) {
        fail("open failed");
    }
    ::fcntl(descriptor_, F_SETFL, flags);
}

void serial_port::close() {
    if (::close(descriptor_) != 0) {
        fail("close failed");
    }
    descriptor_ = -1;
}

bool serial_port::wait(double& timeout_ms, bool want_read, bool want_write) const {
    // A descriptor outside the set would be written beside it.
    if (descriptor_ >= FD_SETSIZE) {
        fail("select failed", EBADF);
    }
    if (descriptor_ < 0 || !(std::abs(timeout_ms) <= longest_wait_ms)) {
        fail("select failed", EINVAL);
    }
    fd_set failed;
    FD_ZERO(&failed);
    FD_SET(descriptor_, &failed);
    fd_set readable = failed;
    fd_set writable = failed;

    timeval remaining{};
    remaining.tv_sec = static_cast<time_t>(timeout_ms / 1000);
    remaining.tv_usec =
        static_cast<suseconds_t>((timeout_ms - static_cast<double>(remaining.tv_sec) * 1000) * 1000);

    const int ready = ::select(descriptor_, want_read ? &readable : nullptr, want_write ? &writable : nullptr,
                               &failed, &remaining);
    if (ready < 0) {
        fail("select failed");
    }
    if (FD_ISSET(descriptor_, &failed)) {
        fail("error on device in select", 0);
    }
    timeout_ms = static_cast<double>(remaining.tv_sec) * 1000 + static_cast<double>(remaining.tv_usec) / 1000;
    return ready >= 1;
}

void serial_port::get_attributes(termios& attributes) const {
    if (::tcgetattr(descriptor_, &attributes) != 0) {
        fail("get attribute");
    }
}

void serial_port::set_attributes(const termios& attributes) const {
    if (::tcsetattr(descriptor_, TCSANOW, &attributes) != 0) {
        fail("set attribute");
    }
}

template <typename change_t>
void serial_port::change_attributes(change_t change) const {
    termios attributes{};
    get_attributes(attributes);
    change(attributes);
    set_attributes(attributes);
}

void serial_port::configure(speed_t speed, data_bits_e data_bits, parity_e parity, stop_bits_e stop_bits,
                            flow_control_e flow) const {
    change_attributes([&](termios& attributes) {
        apply_line_settings(attributes, speed, data_bits, parity, stop_bits, flow);
    });
}

void serial_port::set_canonical() const {
    change_attributes([](termios& attributes) { attributes.c_lflag |= line_editing; });
}

void serial_port::set_raw() const {
    change_attributes([](termios& attributes) { attributes.c_lflag &= ~line_editing_and_signals; });
}

void serial_port::set_output_processing() const {
    change_attributes([](termios& attributes) { attributes.c_oflag |= OPOST; });
}

void serial_port::clear_output_processing() const {
    change_attributes([](termios& attributes) { attributes.c_oflag &= ~tcflag_t{OPOST}; });
}

void serial_port::set_read_timeout(int milliseconds) const {
    change_attributes([=](termios& attributes) {
        attributes.c_oflag &= ~tcflag_t{OPOST};
        attributes.c_cc[cleared_slot] = 0;
        attributes.c_cc[time_slot] = static_cast<cc_t>(milliseconds / 100);
    });
}

void serial_port::send_break(int duration) const {
    if (::tcsendbreak(descriptor_, duration) != 0) {
        fail("set attribute");
    }
}

std::size_t serial_port::write(const void* buffer, std::ptrdiff_t length) const {
    const auto wanted =
        length < 0 ? std::strlen(static_cast<const char*>(buffer)) : static_cast<std::size_t>(length);
    const auto written = ::write(descriptor_, buffer, wanted);
    if (written < 0 || static_cast<std::size_t>(written) < wanted) {
        fail("write error");
    }
    return static_cast<std::size_t>(written);
}

std::size_t serial_port::read(void* buffer, std::size_t length) const {
    const auto count = ::read(descriptor_, buffer, length);
    if (count < 0) {
        fail("read error");
    }
    return static_cast<std::size_t>(count);
}

}  // namespace zel
