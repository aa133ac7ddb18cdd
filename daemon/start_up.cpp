#include "io/control.h"
#include "io/front_panel/front_panel.h"
#include "io/page_station/page_station.h"
#include "io/serial/io_lx4s.h"
#include "io/system.h"
#include "ipc/property_client.h"
#include "platform/identity.h"
#include "platform/logger_names.h"
#include "platform/logging.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <memory>
#include <string>
#include <utility>

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

// A connection of its own for every attempt at the identity, and a second for every answer.
zel::property_reader_t connect_to_engine() {
    constexpr int answer_timeout_ms = 1000;
    auto client = std::make_shared<zel::property_client_t>();
    // An unconnected client fails its first read, with a line in the log that says for which property.
    client->connect();
    return [client = std::move(client)](const std::string& name, std::string& value) {
        return client->wait_for_something(name, value, answer_timeout_ms);
    };
}

const struct before_main_t {
    before_main_t() {
        secure_standard_descriptors();
        outlive_readers();

        for (const auto* const name : zel::loggers::all) {
            zel::register_logger(name);
        }
        zel::setup_logging_with_environment(program_invocation_name, "");

        zel::identify(&connect_to_engine);

        // Never destroyed, none of them: a process ends with its static objects taken down one by one, and a
        // worker thread or a late log line would find some of them gone.
        [[maybe_unused]] const auto& root = io::hardware_root();
        [[maybe_unused]] const auto& controller = io::control();
        [[maybe_unused]] const auto& front_panel = io::front_panel();
        [[maybe_unused]] const auto& page_station = io::page_station();
        [[maybe_unused]] const auto& serial_panel = io::serial_panel();
    }
} before_main;

}  // namespace
