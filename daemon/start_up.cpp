#include "io/control.h"
#include "io/front_panel/front_panel.h"
#include "io/page_station/page_station.h"
#include "io/serial/io_lx4s.h"
#include "io/system.h"
#include "ipc/property_client.h"
#include "platform/identity.h"
#include "platform/logging.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <new>

// Everything that happens before main, in the order in which it happens. No other file of the system defines
// an object that is constructed before main; what the libraries need they construct on first use.

namespace {

// Started with a standard descriptor closed, the process would give its number to the first socket or device
// it opens, and console lines would go there.
void secure_standard_descriptors() {
    int descriptor = ::open("/dev/null", O_RDWR);
    while (descriptor >= 0 && descriptor <= STDERR_FILENO) {
        descriptor = ::dup(descriptor);
    }
    if (descriptor > STDERR_FILENO) {
        ::close(descriptor);
    }
}

// Standard output, or a pipe that somebody put in the place of the status file, may lose its reader at any
// time.
void outlive_readers() {
    std::signal(SIGPIPE, SIG_IGN);  // NOLINT(cert-err33-c): SIGPIPE can be ignored
}

constexpr std::array module_loggers{"drv_io",  "drv_io_page_station", "drv_io_lx4s",
                                    "lin_ipc", "lin_property",        "eng_daemon"};

const struct before_main_t {
    before_main_t() {
        secure_standard_descriptors();
        outlive_readers();

        for (const auto* const name : module_loggers) {
            zel::register_logger(name);
        }
        zel::setup_logging_with_environment(program_invocation_name, "");

        zel::identify<zel::property_client_t>();

        // Never destroyed, none of them: the process that detaches ends here, and must leave the hardware to
        // its child.
        alignas(io::system_t) static std::array<std::byte, sizeof(io::system_t)> hardware_root;
        new (hardware_root.data()) io::system_t;
        [[maybe_unused]] const auto& controller = io::control();
        [[maybe_unused]] const auto& front_panel = io::front_panel();
        [[maybe_unused]] const auto& page_station = io::page_station();
        [[maybe_unused]] const auto& serial_panel = io::serial_panel();
    }
} before_main;

}  // namespace
