// What a serial front panel answers when it is asked whether it is there.
//
// Input: a letter, then what the module sends. After "h" it is unplugged then, so that it cannot be heard.

#include "fuzz/harness.h"
#include "io/serial/io_lx4s.h"
#include "platform/paths.h"
#include "sim/peers/pseudo_terminal.h"
#include "sim/root/unit_definition.h"
#include "sim/root/unit_root.h"

#include <poll.h>
#include <sys/select.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <string>
#include <string_view>

// The half second that the module has for its answer always passes whole, and would be all that this fuzzer
// does. Our answer is there before the question.
// NOLINTNEXTLINE(readability-inconsistent-declaration-parameter-name): the system's names are reserved
extern "C" int select(int count, fd_set* readable, fd_set* writable, fd_set* failed, timeval* /*remaining*/) {
    const timespec no_time{};
    return ::pselect(count, readable, writable, failed, &no_time, nullptr);
}

namespace {

/// Bytes pass a pseudo-terminal on a thread of the kernel's.
bool arrives(int descriptor) {
    constexpr int patience_ms = 5000;
    pollfd entry{descriptor, POLLIN, 0};
    return ::poll(&entry, 1, patience_ms) == 1 && (entry.revents & POLLIN) != 0;
}

/// Sends through a line without editing, which takes any byte.
void send(const sim::pseudo_terminal_t& line, std::string_view bytes) {
    termios settings{};
    ::tcgetattr(line.units_end(), &settings);
    ::cfmakeraw(&settings);
    ::tcsetattr(line.units_end(), TCSANOW, &settings);
    fuzz::require(::write(line.our_end(), bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()) &&
                      arrives(line.units_end()),
                  "the line takes the answer");
}

std::string heard_by_module(const sim::pseudo_terminal_t& line, std::size_t length) {
    std::string heard;
    while (heard.size() < length && arrives(line.our_end())) {
        std::array<char, 64> piece{};
        const auto count = ::read(line.our_end(), piece.data(), piece.size());
        heard.append(piece.data(), count < 0 ? 0 : static_cast<std::size_t>(count));
    }
    return heard;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const sim::unit_root_t unit{*sim::find_unit("serial-panel")};
    constexpr std::size_t line_holds = 2048;
    fuzz::input_t input{data, size};
    const bool unplugged = input.letter() == 'h';
    const auto answer = input.rest().substr(0, line_holds);

    sim::pseudo_terminal_t line;
    const auto device = unit.file(zel::paths::serial_front_panel);
    ::unlink(device.c_str());
    fuzz::require(::symlink(line.path().c_str(), device.c_str()) == 0, "the module can be plugged in");
    if (!answer.empty()) {
        send(line, answer);
    }
    if (unplugged) {
        line.hang_up();
    }

    io::io_lx4s_t panel{std::chrono::milliseconds{0}};
    const bool found = panel.open();
    fuzz::require(found == panel.is_present(), "a panel that was found is present");
    fuzz::require(found == (!unplugged && answer.starts_with('C')),
                  "a module answers with a C, nothing else");
    if (!unplugged) {
        constexpr std::string_view question{"\x95"};
        constexpr std::string_view question_and_blank_frame{"\x95\x99\0\0\0\0\0\0", 8};
        const auto expected = found ? question_and_blank_frame : question;
        fuzz::require(heard_by_module(line, expected.size()) == expected,
                      "a module that was found is blanked");
    }
    return 0;
}
