#include "io/keypad/intel_hex.h"
#include "io/keypad/issp.h"
#include "io/keypad/keypad_update.h"
#include "platform/paths.h"
#include "platform/system_path.h"
#include "tools/unitctl/families.h"
#include "tools/unitctl/keypad_file.h"
#include "tools/unitctl/signals.h"

#include <unistd.h>

#include <cstdio>
#include <memory>
#include <thread>

namespace tools::unitctl {

namespace {

using namespace std::chrono_literals;

/// Connects the keypad controller's programming lines, and lets go of them again; who ends the process
/// meanwhile has to wait for that.
class programming_t {
  public:
    programming_t() { io::keypad_lines().programming_on(); }
    programming_t(const programming_t&) = delete;
    programming_t& operator=(const programming_t&) = delete;
    ~programming_t() {
        io::keypad_lines().programming_off();
        io::keypad_lines().sdata_released();
    }

  private:
    caught_signals_t signals_{caught_signals_t::then_e::obey};
};

/// Restarts a controller whose programming mode was entered.
class restart_t {
  public:
    explicit restart_t(io::issp_t& issp) : issp_{issp} {}
    restart_t(const restart_t&) = delete;
    restart_t& operator=(const restart_t&) = delete;
    ~restart_t() { issp_.ReStartTarget(); }

  private:
    io::issp_t& issp_;
};

std::string image_or_units(const std::optional<std::string>& path) {
    return path.value_or(std::string{zel::paths::keypad_firmware});
}

void require(io::issp_result_e result, const char* what) {
    if (result != io::issp_result_e::success) {
        throw refusal_t{std::string{what} + " (step failed with " + std::to_string(static_cast<int>(result)) +
                        ")"};
    }
}

using file_t = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

file_t open_image(const std::string& path) {
    file_t file{std::fopen(zel::system_path(path).c_str(), "re"), &std::fclose};
    if (!file) {
        throw refusal_t{"cannot open " + path};
    }
    return file;
}

void check(session_t& session, const std::string& path) {
    static_cast<void>(session.page_station());
    std::uint16_t wanted = 0;
    static_cast<void>(read_image(path, wanted));
    const programming_t programming;
    io::issp_t issp{io::keypad_lines()};
    require(issp.fXRESInitializeTargetForISSP(),
            "no keypad controller answers; one that is held in reset does not: keypad run on");
    const restart_t restart{issp};
    std::uint16_t sum = 0;
    require(issp.fVerifySiliconID(), "the controller on the lines is of another type");
    require(issp.fAccTargetBankChecksum(sum), "the controller does not tell its flash's byte sum");
    std::printf("keypad controller found, byte sum of its flash 0x%04x, of the image 0x%04x: %s\n", sum,
                wanted, sum == wanted ? "up to date" : "another firmware");
    if (sum != wanted) {
        throw refusal_t{"the controller's firmware is not the image's"};
    }
}

/// On a terminal, a bar that is painted over; elsewhere nothing.
void show_progress(unsigned step, unsigned steps) {
    if (::isatty(STDOUT_FILENO) == 0) {
        return;
    }
    constexpr unsigned width = 40;
    const auto filled = static_cast<int>(step * width / steps);
    std::printf("\r[%.*s%.*s] %3u %%%s", filled, "########################################",
                static_cast<int>(width) - filled, "........................................",
                step * 100 / steps, step == steps ? "\n" : "");
    std::fflush(stdout);
}

bool update(session_t& session, const std::string& path) {
    static_cast<void>(session.page_station());
    const programming_t programming;
    return io::update_keypad_firmware(path, &show_progress);
}

bool reset(session_t& session) {
    constexpr auto reset_time = 10ms;
    auto& station = session.page_station();
    if (!station.set_keypad_run(false)) {
        return false;
    }
    std::this_thread::sleep_for(reset_time);
    return station.set_keypad_run(true);
}

/// Prints what stands in an image, record by record, up to its end or the first line that is no record.
void print_records(const std::string& path) {
    const auto file = open_image(path);
    io::ihex_record record;
    auto result = io::read_record(&record, file.get());
    for (; result == io::ihex_result_e::success || result == io::ihex_result_e::empty_line;
         result = io::read_record(&record, file.get())) {
        if (result == io::ihex_result_e::success) {
            io::print_record(record);
        }
    }
    if (result != io::ihex_result_e::end_of_file) {
        throw refusal_t{"the next line of " + path + " is no record; hextool check tells why"};
    }
}

}  // namespace

io::keypad_image_t read_image(const std::string& path, std::uint16_t& sum) {
    const auto file = open_image(path);
    io::keypad_image_t image{};
    sum = 0;
    if (io::read_keypad_image(file.get(), image, sum).fault != io::keypad_image_fault_e::none) {
        throw refusal_t{path + " is no keypad image; hextool check tells why"};
    }
    return image;
}

void add_keypad_commands(CLI::App& app, session_t& session) {
    auto& keypad = add_group(app, "keypad", "The keypad controller of a page station and its firmware");
    constexpr operand_t image{"IMAGE", "Intel HEX; the unit's own image when left out"};
    add_command<std::optional<std::string>>(
        keypad, "check",
        "Compares the controller's firmware with an image; restarts the controller. Status 1: they differ",
        {{image}},
        [&session](const std::optional<std::string>& path) { check(session, image_or_units(path)); });
    add_command<std::optional<std::string>>(keypad, "update",
                                            "Programs an image into the controller unless it holds that "
                                            "already; up to half a minute, and no signal "
                                            "ends it before. In a script the second update always programs",
                                            {{image}}, [&session](const std::optional<std::string>& path) {
                                                return update(session, image_or_units(path));
                                            });
    add_command<std::optional<std::string>>(
        keypad, "records", "Prints the records of an image", {{image}},
        [](const std::optional<std::string>& path) { print_records(image_or_units(path)); });
    add_command(keypad, "reset", "Resets the controller", {}, [&session] { return reset(session); });
    add_command<bool>(keypad, "run", "Lets the controller run, or holds it in reset", {{{"on|off", ""}}},
                      [&session](bool on) { return session.page_station().set_keypad_run(on); });
    add_keypad_steps(keypad, session);
}

}  // namespace tools::unitctl
