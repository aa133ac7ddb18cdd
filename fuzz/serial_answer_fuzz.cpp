// What a serial front panel answers when it is asked whether it is there.
//
// Input: a letter, then what the module sends. After "h" it is unplugged then, so that it cannot be heard.

#include "fuzz/harness.h"
#include "io/io_lx4s.h"
#include "platform/paths.h"
#include "sim/pseudo_terminal.h"
#include "sim/unit_definition.h"
#include "sim/unit_root.h"

#include <termios.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <string_view>

namespace {

/// Sends through a line without editing. What it does not take is lost, as on a line.
void send(const sim::pseudo_terminal_t& line, std::string_view bytes) {
    termios settings{};
    ::tcgetattr(line.units_end(), &settings);
    ::cfmakeraw(&settings);
    ::tcsetattr(line.units_end(), TCSANOW, &settings);
    [[maybe_unused]] const auto sent = ::write(line.our_end(), bytes.data(), bytes.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const sim::unit_root_t unit{*sim::find_unit("serial-panel")};
    constexpr std::size_t line_holds = 2048;
    fuzz::input_t input{data, size};
    const bool unplugged = input.letter() == 'h' || input.empty();  // silence costs half a second
    const auto answer = input.rest().substr(0, line_holds);

    sim::pseudo_terminal_t line;
    const auto device = unit.file(zel::paths::serial_front_panel);
    ::unlink(device.c_str());
    fuzz::require(::symlink(line.path().c_str(), device.c_str()) == 0, "the module can be plugged in");
    send(line, answer);
    if (unplugged) {
        line.hang_up();
    }

    io::io_lx4s_t panel{std::chrono::milliseconds{0}};
    const bool found = panel.open();
    fuzz::require(found == panel.is_present(), "a panel that was found is present");
    fuzz::require(found == (!unplugged && answer.front() == 'C'), "a module answers with a C, and nothing else");
    if (found) {
        // The question, then a blank frame.
        constexpr std::string_view expected{"\x95\x99\0\0\0\0\0\0", 8};
        std::array<char, 64> heard{};
        const auto length = ::read(line.our_end(), heard.data(), heard.size());
        fuzz::require(length == static_cast<ssize_t>(expected.size()) &&
                          std::string_view{heard.data(), expected.size()} == expected,
                      "a module that was found is blanked");
    }
    return 0;
}
