// A plug-in of QEMU: the devices behind the FPGA of a unit that the emulator runs. The unit's /dev/io is a
// part of the machine's memory; after each access of the unit's programs to a register the board's models are
// told what was stored, and what can be read next lies in that memory before another instruction runs.
//
//     FWSTATUS_UNIT_ROOT=DIRECTORY qemu-system-arm -plugin board_plugin.so,memory=FILE,offset=N,address=N ...
//
// It begins at an offset in the file that holds the machine's memory, and at a physical address. The unit
// root says which board to build, and holds what its devices show (lcd_display).

#include "sim/board/board.h"
#include "sim/programs/qemu_plugin.h"

#include <endian.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

namespace {

constexpr std::size_t memory_size = 32 << 20;

// Where a program of the unit lies that is not a library.
constexpr std::uint64_t programs_end = 0x100'0000;

// The I/O driver's shared region, which is memory and nothing else.
constexpr std::uint32_t shared_begin = 0x1000;
constexpr std::uint32_t shared_end = shared_begin + 0x41A88;

class emulated_board_t {
  public:
    emulated_board_t(const std::string& memory, std::uint64_t offset, std::uint64_t address)
        : address_{address} {
        const int file = ::open(memory.c_str(), O_RDWR | O_CLOEXEC);
        void* const place = ::mmap(nullptr, memory_size, PROT_READ | PROT_WRITE, MAP_SHARED, file,
                                   static_cast<off_t>(offset));
        if (place == MAP_FAILED) {
            throw std::system_error{errno, std::generic_category(), memory};
        }
        ::close(file);
        memory_ = static_cast<std::byte*>(place);
        board_->read_all([this](auto at, auto value) { put(at, value); });
    }

    [[nodiscard]] bool owns(std::uint64_t address) const {
        return address >= address_ && address - address_ < memory_size;
    }

    void accessed(std::uint64_t address, bool stored, unsigned size) {
        const auto offset = static_cast<std::uint32_t>(address - address_);
        if (offset >= shared_begin && offset < shared_end) {
            return;
        }
        if (stored && size == 4) {
            board_->write32(offset, word(offset));
        } else if (stored) {
            board_->write8(offset, std::to_integer<std::uint8_t>(memory_[offset]));
        }
        board_->read_owner(offset, [this](auto place, auto value) { put(place, value); });
    }

  private:
    [[nodiscard]] std::uint32_t word(std::uint32_t offset) const {
        std::uint32_t value = 0;
        std::memcpy(&value, memory_ + offset, sizeof value);
        return be32toh(value);
    }
    void put(std::uint32_t offset, std::uint32_t value) {
        value = htobe32(value);
        std::memcpy(memory_ + offset, &value, sizeof value);
    }

    std::unique_ptr<sim::fpga_t> board_ = sim::build_board_of_this_unit();
    std::byte* memory_ = nullptr;
    std::uint64_t address_;
};

std::unique_ptr<emulated_board_t>& board() {
    static auto& instance = *new std::unique_ptr<emulated_board_t>;
    return instance;
}

void accessed(unsigned /*processor*/, qemu_plugin_meminfo_t info, std::uint64_t address, void* /*unused*/) {
    const auto* const place = qemu_plugin_get_hwaddr(info, address);
    if (place == nullptr || qemu_plugin_hwaddr_is_io(place)) {
        return;
    }
    if (const auto physical = qemu_plugin_hwaddr_phys_addr(place); board()->owns(physical)) {
        board()->accessed(physical, qemu_plugin_mem_is_store(info), 1U << qemu_plugin_mem_size_shift(info));
    }
}

void translated(qemu_plugin_id_t /*plugin*/, qemu_plugin_tb* block) {
    for (std::size_t i = 0; i < qemu_plugin_tb_n_insns(block); ++i) {
        auto* const instruction = qemu_plugin_tb_get_insn(block, i);
        if (qemu_plugin_insn_vaddr(instruction) < programs_end) {
            qemu_plugin_register_vcpu_mem_cb(instruction, accessed, qemu_plugin_registers_e::none,
                                             qemu_plugin_direction_e::both, nullptr);
        }
    }
}

/// The value of "NAME=value" among a plug-in's arguments.
std::string argument(std::span<char*> arguments, std::string_view name) {
    for (const std::string_view text : arguments) {
        if (text.starts_with(name) && text.substr(name.size()).starts_with('=')) {
            return std::string{text.substr(name.size() + 1)};
        }
    }
    throw std::invalid_argument{"lacks " + std::string{name} + "=..."};
}

}  // namespace

extern "C" {

int qemu_plugin_version = 1;

int qemu_plugin_install(qemu_plugin_id_t plugin, const qemu_info_t* /*info*/, int argc, char** argv) {
    try {
        const std::span arguments{argv, static_cast<std::size_t>(argc)};
        board() = std::make_unique<emulated_board_t>(argument(arguments, "memory"),
                                                     std::stoull(argument(arguments, "offset")),
                                                     std::stoull(argument(arguments, "address")));
        qemu_plugin_register_vcpu_tb_trans_cb(plugin, translated);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "board_plugin: %s\n", error.what());
        return -1;
    }
}
}
