#include "platform/paths.h"
#include "platform/system_path.h"
#include "tools/unitctl/families.h"

#include <fcntl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <string_view>

namespace tools::unitctl {

namespace {

/// A setting of the line by the name that people give it.
template <typename value_t>
struct named_t {
    std::string_view name;
    value_t value;
};

constexpr std::array speeds{named_t<speed_t>{"1200", B1200},    named_t<speed_t>{"2400", B2400},
                            named_t<speed_t>{"4800", B4800},    named_t<speed_t>{"9600", B9600},
                            named_t<speed_t>{"19200", B19200},  named_t<speed_t>{"38400", B38400},
                            named_t<speed_t>{"57600", B57600},  named_t<speed_t>{"115200", B115200},
                            named_t<speed_t>{"230400", B230400}};
constexpr std::array data_bits{named_t<zel::data_bits_e>{"7", zel::data_bits_e::seven},
                               named_t<zel::data_bits_e>{"8", zel::data_bits_e::eight}};
constexpr std::array parities{named_t<zel::parity_e>{"none", zel::parity_e::none},
                              named_t<zel::parity_e>{"odd", zel::parity_e::odd},
                              named_t<zel::parity_e>{"even", zel::parity_e::even}};
constexpr std::array stops{named_t<zel::stop_bits_e>{"1", zel::stop_bits_e::one},
                           named_t<zel::stop_bits_e>{"2", zel::stop_bits_e::two}};
constexpr std::array flows{named_t<zel::flow_control_e>{"none", zel::flow_control_e::none},
                           named_t<zel::flow_control_e>{"software", zel::flow_control_e::software},
                           named_t<zel::flow_control_e>{"hardware", zel::flow_control_e::hardware}};

template <typename value_t, std::size_t count>
value_t value_of(const std::array<named_t<value_t>, count>& all, const char* what, std::string_view name) {
    const auto found = std::ranges::find(all, name, &named_t<value_t>::name);
    if (found != all.end()) {
        return found->value;
    }
    std::string choice;
    for (const auto& one : all) {
        choice += (choice.empty() ? "" : ", ") + std::string{one.name};
    }
    throw CLI::ValidationError{std::string{what} + " is one of " + choice};
}

/// Which port the commands use, and how they open it: as it was left; nothing is set.
struct line_t {
    session_t& session;
    std::string device{zel::paths::serial_front_panel};
    bool waits = false;  ///< reads wait for bytes

    void open(zel::serial_port& port) const {
        session.claim_display();
        port.open(zel::system_path(device), waits ? 0 : O_NONBLOCK);
    }
};
using line_pointer_t = std::shared_ptr<const line_t>;

void print_settings(const zel::serial_port& port) {
    termios line{};
    port.get_attributes(line);
    const auto speed = std::ranges::find(speeds, ::cfgetospeed(&line), &named_t<speed_t>::value);
    const auto is = [](tcflag_t flags, tcflag_t bit, const char* yes, const char* no) {
        return (flags & bit) != 0 ? yes : no;
    };
    std::printf("%s bit/s, %s data bits, %s, %s, %s flow control\n",
                speed == speeds.end() ? "other" : std::string{speed->name}.c_str(),
                (line.c_cflag & CSIZE) == CS8   ? "8"
                : (line.c_cflag & CSIZE) == CS7 ? "7"
                                                : "other",
                (line.c_cflag & PARENB) == 0 ? "no parity"
                                             : is(line.c_cflag, PARODD, "odd parity", "even parity"),
                is(line.c_cflag, CSTOPB, "two stop bits", "one stop bit"),
                (line.c_cflag & CRTSCTS) != 0 ? "hardware" : is(line.c_iflag, IXON, "software", "no"));
    std::printf("input %s, %s echo, output %s\n", is(line.c_lflag, ICANON, "by lines", "byte by byte"),
                is(line.c_lflag, ECHO, "with", "no"), is(line.c_oflag, OPOST, "processed", "as it is"));
}

/// Gives the other end its time, then prints what has come.
/// @return whether anything has.
bool receive(const zel::serial_port& port, double seconds) {
    double timeout_ms = seconds * 1000;
    static_cast<void>(port.wait(timeout_ms, true, false));
    std::array<std::uint8_t, 256> bytes{};
    std::size_t count = 0;
    try {
        count = port.read(bytes.data(), bytes.size());
    } catch (const std::exception&) {
        if (errno != EAGAIN) {
            throw;
        }
    }
    for (std::size_t i = 0; i < count; ++i) {
        std::printf("%s%02x", i == 0 ? "" : " ", bytes.at(i));
    }
    std::puts(count == 0 ? "nothing came" : "");
    return count != 0;
}

void add_settings(CLI::App& group, const line_pointer_t& line) {
    add_command(group, "settings", "Prints how the line is set", {}, [line] {
        zel::serial_port port;
        line->open(port);
        print_settings(port);
    });
    using text_t = const std::string&;
    add_command<std::string, std::string, std::string, std::string, std::string>(
        group, "set", "Sets the line, raw",
        {{{"SPEED", "1200 to 230400 bit/s; the panel's is 115200"},
          {"DATA", "7 or 8 bits"},
          {"PARITY", "none, odd or even"},
          {"STOP", "1; 2, which stops the line, with --force alone"},
          {"FLOW", "none, software or hardware"}}},
        [line](text_t speed, text_t data, text_t parity, text_t stop, text_t flow) {
            const auto stop_bits = value_of(stops, "STOP", stop);
            if (stop_bits == zel::stop_bits_e::two && !line->session.force) {
                throw refusal_t{"with two stop bits the driver stops the line; --force does it all the same"};
            }
            zel::serial_port port;
            line->open(port);
            port.configure(value_of(speeds, "SPEED", speed), value_of(data_bits, "DATA", data),
                           value_of(parities, "PARITY", parity), stop_bits, value_of(flows, "FLOW", flow));
        });
    struct change_t {
        const char* name;
        const char* help;
        void (zel::serial_port::*make)() const;
    };
    for (const auto& [name, help, make] :
         {change_t{"raw", "Input byte by byte, no echo", &zel::serial_port::set_raw},
          {"lines", "Input by lines, with echo", &zel::serial_port::set_canonical},
          {"processed", "Output is processed", &zel::serial_port::set_output_processing},
          {"unprocessed", "Output goes out as it is", &zel::serial_port::clear_output_processing}}) {
        add_command(group, name, help, {}, [line, change = make] {
            zel::serial_port port;
            line->open(port);
            (port.*change)();
        });
    }
    add_command<int>(
        group, "timeout",
        "Writes what the driver takes for a read time-out: control characters 6 and 8, no time-out on Linux",
        {{{"MS", "0 to 25500, in steps of 100"}}}, [line](int milliseconds) {
            if ((milliseconds < 0 || milliseconds > 25'500) && !line->session.force) {
                throw refusal_t{"a time-out goes from 0 to 25500 ms"};
            }
            zel::serial_port port;
            line->open(port);
            port.set_read_timeout(milliseconds);
        });
}

void add_transfers(CLI::App& group, const line_pointer_t& line) {
    struct sending_t {
        std::optional<double> answer_seconds;
    };
    const auto sending = std::make_shared<sending_t>();
    auto& send = add_command<std::vector<std::uint8_t>>(
        group, "send", "Sends bytes",
        {{{"BYTE", "0 to 255; 0x95 asks a panel's module whether it is there"}}},
        [line, sending](const std::vector<std::uint8_t>& bytes) {
            static_cast<void>(time_limit(sending->answer_seconds));
            zel::serial_port port;
            line->open(port);
            port.write(bytes.data(), static_cast<std::ptrdiff_t>(bytes.size()));
            return !sending->answer_seconds || receive(port, *sending->answer_seconds);
        });
    send.get_option("BYTE")->required();
    send.add_option("--answer", sending->answer_seconds,
                    "Seconds for the answer, 0.001 to 86400; it is printed. Status 1: there is none");
    add_command<std::optional<double>>(group, "receive", "Prints the bytes that come",
                                       {{{"SECONDS", "How long to wait for them (1)"}}},
                                       [line](const std::optional<double>& seconds) {
                                           zel::serial_port port;
                                           line->open(port);
                                           static_cast<void>(receive(port, seconds.value_or(1)));
                                       });
}

}  // namespace

void add_port_commands(CLI::App& app, session_t& session) {
    auto& group = add_group(app, "port", "The serial port under the serial front panel, by itself");
    const auto line = std::make_shared<line_t>(line_t{session});
    group.add_option("--device", line->device, "Another serial port than the panel's");
    group.add_flag("--waiting", line->waits, "Open it so that what receives waits for the first byte");
    add_settings(group, line);
    add_transfers(group, line);
    add_command<std::optional<int>>(
        group, "break", "Sends a break",
        {{{"DURATION", "As the system counts it; 0, the default, is 0.25 to 0.5 s"}}},
        [line](const std::optional<int>& duration) {
            zel::serial_port port;
            line->open(port);
            port.send_break(duration.value_or(0));
        });
    add_command<std::string>(group, "text", "Sends a text", {{{"TEXT", "Byte by byte, without a line end"}}},
                             [line](const std::string& text) {
                                 zel::serial_port port;
                                 line->open(port);
                                 port.write(text.c_str(), -1);
                             });
    struct ready_t {
        bool input = false;
        bool output = false;
    };
    const auto ready = std::make_shared<ready_t>();
    auto& wait = add_command<std::optional<double>>(
        group, "wait", "Waits for the line as the driver does: the whole time, and finds nothing ready",
        {{{"SECONDS", "How long (1)"}}}, [line, ready](const std::optional<double>& seconds) {
            zel::serial_port port;
            line->open(port);
            double left_ms = seconds.value_or(1) * 1000;
            const bool is_ready = port.wait(left_ms, ready->input || !ready->output, ready->output);
            std::printf("%s, %.0f ms left\n", is_ready ? "ready" : "not ready", left_ms);
        });
    wait.add_flag("--input", ready->input, "For bytes that come, as without any of these");
    wait.add_flag("--output", ready->output, "For room to send");
}

}  // namespace tools::unitctl
