#include "io/system.h"

#include "io/driver_log.h"
#include "io/lite_io.h"
#include "io/mmio.h"
#include "io/omap_io.h"
#include "io/platform_tables.h"
#include "ipc/property_client.h"
#include "platform/identity.h"
#include "platform/log.h"
#include "platform/logger_names.h"
#include "platform/paths.h"
#include "platform/system_path.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ios>
#include <string>

namespace io {

namespace {

constexpr std::size_t fpga_length = 0x100'0000;
constexpr std::size_t shared_length = 268936;

// The shared region, by offsets from its start.
constexpr std::size_t area_b_offset = 0x1E000;
constexpr std::size_t area_c_offset = 0x3C000;
constexpr std::size_t platform_id_offset = 0x419C8;
constexpr std::size_t slot_count_offset = 0x419CC;

struct state_t {
    int descriptor = -1;
    std::uint32_t slot_count = 0;
    std::uint32_t fpga_id = 0;
    std::uint32_t platform_id = 0;
    std::byte* fpga = nullptr;
    std::byte* shared = nullptr;
    std::uint32_t references = 0;
};

constinit state_t state;

zel::scope_logger trace() {
    return {zel::loggers::io, zel::log_level_e::trace};
}

void settle(std::uint32_t platform_id, std::uint32_t slot_count) {
    state.platform_id = platform_id;
    state.slot_count = slot_count;
}

/// The engine's answer for "/sys/config/platform"; empty when there is none within a second.
std::string platform_property() {
    constexpr int answer_timeout_ms = 1000;
    zel::property_client_t client;
    static_cast<void>(client.connect());
    std::string value;
    return client.wait_for_something("/sys/config/platform", value, answer_timeout_ms) ? value
                                                                                       : std::string{};
}

void use_shared_region(std::byte* region) {
    state.shared = region;
    mmio::write32(region + platform_id_offset, state.platform_id);
    mmio::write32(region + slot_count_offset, state.slot_count);
}

/// No hardware: the platform follows from the property engine, and memory stands in for the shared region.
void emulate() {
    const auto* const row = std::ranges::find(platform_tables::emulated, zel::platform_identity().platform,
                                              &platform_tables::emulated_row_t::platform_code);
    if (row != platform_tables::emulated.end()) {
        settle(row->platform_id, row->slot_count);
    }
    // All drivers share one block, as they would share the region; it lives as long as the process.
    use_shared_region(state.shared != nullptr ? state.shared : new std::byte[shared_length]);
}

void settle_first_generation() {
    const auto& rows = platform_tables::first_generation;
    const auto* row =
        std::ranges::find(rows, platform_property(), &platform_tables::first_generation_row_t::platform);
    if (row == rows.end()) {
        row = &platform_tables::other_first_generation;
    }
    settle(row->platform_id, row->slot_count);
}

const auto* studio_row() {
    const auto& rows = platform_tables::studios;
    const auto* const row =
        std::ranges::find(rows, zel::model_code(), &platform_tables::model_row_t::model_code);
    return row == rows.end() ? nullptr : row;
}

std::uint32_t node_slot_count() {
    const auto& rows = platform_tables::nodes;
    const auto* const row =
        std::ranges::find(rows, zel::model_code(), &platform_tables::model_row_t::model_code);
    return row == rows.end() ? platform_tables::other_node_slot_count : row->slot_count;
}

void settle_from_fpga_id() {
    const auto& rows = platform_tables::fpgas;
    using row_t = platform_tables::fpga_row_t;
    if (const auto* const row = std::ranges::find(rows, state.fpga_id, &row_t::fpga_id); row != rows.end()) {
        settle(row->platform_id, row->slot_count);
        return;
    }
    error() << "unrecognized FPGA ID: 0x" << std::hex << state.fpga_id;
    if (const auto* const row = std::ranges::find(rows, state.platform_id, &row_t::platform_id);
        row != rows.end()) {
        state.slot_count = row->slot_count;
        return;
    }
    error() << "unrecognized platform ID: " << state.platform_id;
}

void map_fpga() {
    state.fpga = mmio::map(state.descriptor, fpga_length, 0);
    if (state.fpga == nullptr) {
        const int reason = errno;
        error() << "failed to map IO FPGA region, errno: " << reason;
        return;
    }
    state.fpga_id = mmio::read32(state.fpga);
    trace() << "IO system -- FPGA ID: 0x" << std::hex << state.fpga_id;
    settle_from_fpga_id();
    trace() << "IO system -- slot count: " << state.slot_count;
}

void map_shared_region() {
    state.shared = mmio::map(state.descriptor, shared_length, ::getpagesize());
    if (state.shared == nullptr) {
        const int reason = errno;
        error() << "failed to map DMA buffer and IO shared memory region, errno: " << reason;
        return;
    }
    use_shared_region(state.shared);
}

void open_device() {
    state.descriptor = ::open(zel::system_path(zel::paths::io_driver).c_str(), O_RDWR | O_CLOEXEC);
    if (state.descriptor < 0) {
        const int reason = errno;
        error() << "unable to open IO driver, errno: " << reason;
        return;
    }
    map_fpga();
    map_shared_region();
}

void close_device() {
    if (state.fpga != nullptr) {
        mmio::unmap(state.fpga, fpga_length);
        state.fpga = nullptr;
        trace() << "unmapped IO FPGA region";
    }
    if (state.shared != nullptr) {
        mmio::unmap(state.shared, shared_length);
        state.shared = nullptr;
        trace() << "unmapped DMA buffer and IO shared data region";
    }
    ::close(state.descriptor);
    state.descriptor = -1;
    trace() << "closed IO driver";
}

std::byte* in_shared_region(std::size_t offset) {
    return state.shared == nullptr ? nullptr : state.shared + offset;
}

}  // namespace

system_t::system_t() {
    if (zel::running_in_container() || zel::running_under_hypervisor()) {
        emulate();
    } else if (omap_io_t::instance().present()) {
        settle_first_generation();
    } else if (lite_io_t::instance().present()) {
        settle(platform_tables::lite_platform, platform_tables::lite_slot_count);
    } else if (const auto* const studio = studio_row()) {
        settle(platform_tables::studio_platform, studio->slot_count);
    } else if (!is_vnode()) {
        trace() << "system_t::system_t() called!";
        if (state.descriptor == -1) {
            open_device();
        }
        // A failed open counts as well: the destructor cannot know how the construction went.
        ++state.references;
    } else {
        state.slot_count = node_slot_count();
    }
    trace() << "IO system -- Platform: " << platform_display_name(state.platform_id);
}

system_t::~system_t() {
    trace() << "system_t::~system_t() called!";
    // Objects of the branches without the device were never counted.
    if (state.references > 0 && --state.references == 0 && state.descriptor >= 0) {
        close_device();
    }
}

bool system_t::ready() {
    return state.descriptor >= 0 && state.fpga != nullptr && shared_area_c() != nullptr;
}

std::byte* system_t::fpga_base() {
    return state.fpga;
}

std::byte* system_t::shared_base() {
    return state.shared;
}

std::byte* system_t::shared_area_b() {
    return in_shared_region(area_b_offset);
}

std::byte* system_t::shared_area_c() {
    return in_shared_region(area_c_offset);
}

std::uint32_t system_t::platform_id() {
    return state.platform_id;
}

std::uint32_t system_t::slot_count() {
    return state.slot_count;
}

std::uint32_t system_t::fpga_id() {
    return state.fpga_id;
}

const char* system_t::platform_display_name(std::uint32_t platform_id) {
    const auto& names = platform_tables::display_names;
    return platform_id < names.size() ? names[platform_id] : names[0];
}

bool system_t::is_page_station() {
    return platform_id() == platform_tables::page_station_platform;
}

bool system_t::is_studio_model() {
    return studio_row() != nullptr;
}

bool system_t::is_vnode() {
    return platform_property() == platform_tables::node_platform;
}

const system_t& hardware_root() {
    static const auto& instance = *new system_t;
    return instance;
}

}  // namespace io
