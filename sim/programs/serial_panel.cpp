#include "sim/peers/serial_module.h"
#include "sim/programs/small_program.h"
#include "sim/show/seven_segment_picture.h"

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <string>

namespace {

constexpr const char* help = R"(usage: serial_panel

The display module of a serial front panel on a pseudo-terminal of this machine, for a unit that runs elsewhere,
such as in an emulator. Prints what happens on the line, an event a line, until its standard input ends:

  line DEVICE         the pseudo-terminal (once)
  settings SPEED DATA_BITS PARITY STOP_BITS
                      of the line as it is now set; at the start and when they change
  question            the unit asked whether the module is there
  frame BYTE...       a whole frame came: four digits, LEDs, mode; hexadecimal
  glass ROWS          what shows on the glass from then on, a tab between two rows

What the module does not understand it says on standard error.
)";

std::string settings_of(int line) {
    termios settings{};
    if (::tcgetattr(line, &settings) != 0) {
        return "unknown";
    }
    constexpr struct {
        speed_t constant;
        const char* name;
    } speeds[] = {
        {B9600, "9600"}, {B19200, "19200"}, {B38400, "38400"}, {B57600, "57600"}, {B115200, "115200"}};
    std::string text = "other";
    for (const auto& speed : speeds) {
        if (::cfgetospeed(&settings) == speed.constant) {
            text = speed.name;
        }
    }
    const auto size = settings.c_cflag & CSIZE;
    text += size == CS8 ? " 8" : size == CS7 ? " 7" : " ?";
    text += (settings.c_cflag & PARENB) == 0 ? " N" : (settings.c_cflag & PARODD) != 0 ? " O" : " E";
    return text + ((settings.c_cflag & CSTOPB) == 0 ? " 1" : " 2");
}

/// Prints what has become of module and line since it last looked.
class reporter_t {
  public:
    explicit reporter_t(const sim::serial_module_t& module)
        : module_{module}, line_{::open(module.path().c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC)} {
        std::printf("line %s\n", module.path().c_str());
    }
    reporter_t(const reporter_t&) = delete;
    reporter_t& operator=(const reporter_t&) = delete;
    ~reporter_t() { ::close(line_); }

    void look() {
        if (auto settings = settings_of(line_); settings != settings_) {
            settings_ = std::move(settings);
            std::printf("settings %s\n", settings_.c_str());
        }
        for (; questions_ < module_.questions(); ++questions_) {
            std::puts("question");
        }
        for (const auto& entry : module_.history()) {
            if (entry.at > last_) {
                last_ = entry.at;
                print(entry.display);
            }
        }
        std::fflush(stdout);
    }

  private:
    static void print(const sim::serial_display_t& display) {
        std::fputs("frame", stdout);
        for (const unsigned digit : display.digits) {
            std::printf(" %02x", digit);
        }
        std::printf(" %02x %02x\n", unsigned{display.leds}, unsigned{display.mode});
        auto glass = sim::seven_segment_text(display);
        for (auto& letter : glass) {
            letter = letter == '\n' ? '\t' : letter;
        }
        std::printf("glass %s\n", glass.c_str());
    }

    const sim::serial_module_t& module_;
    int line_;
    std::string settings_;
    std::size_t questions_ = 0;
    std::chrono::steady_clock::time_point last_;
};

void run() {
    sim::serial_display_t glass;
    const sim::serial_module_t module{glass};
    reporter_t reporter{module};
    for (;;) {
        reporter.look();
        pollfd input{STDIN_FILENO, POLLIN, 0};
        std::array<char, 64> ignored{};
        if (::poll(&input, 1, 10) > 0 && ::read(STDIN_FILENO, ignored.data(), ignored.size()) <= 0) {
            return;
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    return sim::run_program({"serial_panel", help, 0,
                             [](const auto& /*words*/) {
                                 run();
                                 return 0;
                             }},
                            argc, argv);
}
