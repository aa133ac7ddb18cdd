#include "io/mmio.h"

#include "sim/board/fpga.h"

#include <sys/mman.h>
#include <sys/stat.h>

#include <bit>
#include <cerrno>
#include <cstring>

namespace io::mmio {

namespace {

// The FPGA region is the one of 16 MiB at device offset 0. It is only an address range: no access reaches its
// memory.
constexpr std::size_t fpga_region_length = 0x100'0000;
const std::byte* fpga_start = nullptr;
std::size_t fpga_length = 0;

bool in_fpga(const std::byte* address) {
    return fpga_start != nullptr && address >= fpga_start && address < fpga_start + fpga_length;
}

std::uint32_t fpga_offset(const std::byte* address) {
    return static_cast<std::uint32_t>(address - fpga_start);
}

std::uint32_t big_endian(std::uint32_t value) {
    return std::endian::native == std::endian::little ? __builtin_bswap32(value) : value;
}

}  // namespace

std::byte* map(int descriptor, std::size_t length, off_t device_offset) {
    // A file shorter than the device would map, and kill the process at the first access beyond its end.
    struct stat status {};
    if (::fstat(descriptor, &status) != 0) {
        return nullptr;
    }
    if (S_ISREG(status.st_mode) && status.st_size < device_offset + static_cast<off_t>(length)) {
        errno = EINVAL;
        return nullptr;
    }
    const bool is_fpga = device_offset == 0 && length == fpga_region_length;
    const int protection = is_fpga ? PROT_NONE : PROT_READ | PROT_WRITE;
    void* const mapping = ::mmap(nullptr, length, protection, MAP_SHARED, descriptor, device_offset);
    if (mapping == MAP_FAILED) {
        return nullptr;
    }
    auto* const start = static_cast<std::byte*>(mapping);
    if (is_fpga) {
        fpga_start = start;
        fpga_length = length;
        sim::fpga_or_build();
    }
    return start;
}

void unmap(std::byte* mapping, std::size_t length) {
    if (mapping == fpga_start) {
        fpga_start = nullptr;
        fpga_length = 0;
    }
    ::munmap(mapping, length);
}

std::uint32_t read32(const std::byte* address) {
    if (in_fpga(address)) {
        return sim::fpga_or_build()->read32(fpga_offset(address));
    }
    std::uint32_t value = 0;
    std::memcpy(&value, address, sizeof value);
    return big_endian(value);
}

void write32(std::byte* address, std::uint32_t value) {
    if (in_fpga(address)) {
        sim::fpga_or_build()->write32(fpga_offset(address), value);
        return;
    }
    const auto stored = big_endian(value);
    std::memcpy(address, &stored, sizeof stored);
}

std::uint8_t read8(const std::byte* address) {
    return in_fpga(address) ? sim::fpga_or_build()->read8(fpga_offset(address))
                            : std::to_integer<std::uint8_t>(*address);
}

void write8(std::byte* address, std::uint8_t value) {
    if (in_fpga(address)) {
        sim::fpga_or_build()->write8(fpga_offset(address), value);
        return;
    }
    *address = std::byte{value};
}

}  // namespace io::mmio
