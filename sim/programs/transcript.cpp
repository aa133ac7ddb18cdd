#include "daemon/display.h"
#include "daemon/status_file.h"
#include "io/serial/io_lx4s.h"
#include "io/system.h"
#include "platform/logging.h"
#include "platform/paths.h"
#include "sim/board/bench_unit.h"
#include "sim/board/fpga.h"
#include "sim/board/front_panel_block.h"
#include "sim/board/keypad_setup.h"
#include "sim/peers/serial_module.h"
#include "sim/programs/small_program.h"
#include "sim/root/shared_state.h"
#include "sim/root/violations.h"
#include "sim/show/picture.h"
#include "sim/show/seven_segment_picture.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <iterator>
#include <string>

namespace {

constexpr const char* help = R"(usage: transcript UNIT

Prints all that the drivers say to the display of a unit, one of unit_sim --list-units, while it is brought up and
an update runs: every access to the FPGA, the frames of a serial panel, the picture in the end, the words left in
the I/O shared region and the status file. The drivers run in this process, so that nothing depends on time and two
builds can be compared.
)";

struct moment_t {
    const char* state;
    const char* state_name;
    int progress;
    const char* detail;
};
constexpr std::array update{
    moment_t{"idle", "Idle", -1, ""},
    moment_t{"initializing", "Initializing", 0, "Unpacking \xC3\xA9t\xC3\xA9 <1> & 2"},
    moment_t{"fw_write", "Writing Firmware", 37, "Block 3 of 9, the first of the bank"},
    moment_t{"fpga_write", "Writing FPGA", 101, ""},
    moment_t{"complete", "Finished. Rebooting...", 100, "gjpqy"}};

void print_accesses(const char* title) {
    constexpr std::array names{"read32", "write32", "read8", "write8"};
    std::printf("== %s: %zu accesses\n", title, sim::fpga()->recorded().size());
    for (const auto& [kind, offset, value] : sim::fpga()->recorded()) {
        std::printf("%s %06x %x\n", names.at(static_cast<std::size_t>(kind)), offset, value);
    }
    sim::fpga()->forget_recorded();
}

void print_shared_region(const sim::bench_unit_t& unit) {
    const auto device = unit.root.read_file("/dev/io");
    std::puts("== I/O shared region, bytes that are not 0");
    for (std::size_t at = 0; at < device.size(); ++at) {
        if (device[at] != 0) {
            std::printf("%06zx %02x\n", at, static_cast<unsigned char>(device[at]));
        }
    }
}

void transcribe_bus(const sim::bench_unit_t& unit) {
    const io::system_t hardware;
    sim::fpga()->record(true);
    const auto mode = firmware::probe_display();
    std::printf("display %d\n", static_cast<int>(mode));
    print_accesses("bring-up");
    for (const auto& [state, name, progress, detail] : update) {
        firmware::show_status(mode, name, progress, detail);
        print_accesses(state);
    }
    const auto& glass = unit.root.definition().has_front_panel
                            ? sim::shared_state<sim::front_panel_state_t>("front_panel").glass
                            : sim::shared_state<sim::glass_state_t>("glass");
    std::printf("== picture\n%s\n", sim::text_picture(sim::picture_of(glass)).c_str());
    print_shared_region(unit);
}

void transcribe_serial_line(const sim::bench_unit_t& unit) {
    const io::system_t hardware;
    sim::serial_module_t module{sim::shared_state<sim::serial_display_t>("serial")};
    module.connect(unit.root.file(zel::paths::serial_front_panel));
    auto& panel = io::serial_panel();
    std::size_t frames = panel.init(true) ? 1 : 0;
    for (const auto& moment : update) {
        frames += panel.draw_progress(moment.progress) ? 1U : 0U;
    }
    if (!module.wait_for_frames(frames, std::chrono::seconds{20})) {
        std::puts("frames are missing");
    }
    for (const auto& [at, display] : module.history()) {
        std::printf("== frame, mode %d, LEDs %02x\n%s\n", display.mode, display.leds,
                    sim::seven_segment_text(display).c_str());
    }
    print_shared_region(unit);
}

void transcribe_status_file(const sim::bench_unit_t& unit) {
    const auto path = std::string{zel::paths::www_directory} + "fw_status.xml";
    firmware::status_file_t file{unit.root.file(path)};
    for (const auto& moment : update) {
        file.write(moment.state, moment.progress, moment.detail);
        std::printf("== status file\n%s", unit.root.read_file(path).c_str());
    }
}

int run(const sim::small_program_t::words_t& words) {
    const auto* const definition = words.empty() ? nullptr : sim::find_unit(words.front());
    if (definition == nullptr) {
        throw sim::wrong_usage_t{words.empty() ? "which unit?" : "no unit \"" + words.front() + "\""};
    }
    zel::setup_logging("transcript", "stdout_color_sink_st");
    zel::set_logger_level("transcript", "off");  // its lines hold the time
    const sim::bench_unit_t unit{*definition};
    if (definition->has_page_station) {
        sim::set_up_keypad(unit.root, sim::keypad_setup_e::outdated);
    }
    if (definition->has_serial_panel) {
        transcribe_serial_line(unit);
    } else {
        transcribe_bus(unit);
    }
    transcribe_status_file(unit);
    std::printf("== devices\n%s", sim::violations().c_str());
    return sim::violations().empty() ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    return sim::run_program({"transcript", help, 1, run}, argc, argv);
}
