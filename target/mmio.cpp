#include "io/mmio.h"

#include <sys/mman.h>

#include <bit>

namespace io::mmio {

namespace {

// Registers are big-endian; PowerPC reads them as they stand, ARM and x86 swap.
std::uint32_t bus_order(std::uint32_t value) {
    if constexpr (std::endian::native == std::endian::little) {
        return __builtin_bswap32(value);
    } else {
        return value;
    }
}

// PowerPC lets a load overtake an earlier store to another register, so that a poll could see what was before
// the command. ARM keeps accesses to one device in order by itself.
void keep_order() {
#ifdef __powerpc__
    __asm__ volatile("eieio" ::: "memory");
#endif
}

}  // namespace

std::byte* map(int descriptor, std::size_t length, off_t device_offset) {
    void* const mapping =
        ::mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_LOCKED, descriptor, device_offset);
    return mapping == MAP_FAILED ? nullptr : static_cast<std::byte*>(mapping);
}

void unmap(std::byte* mapping, std::size_t length) {
    ::munmap(mapping, length);
}

std::uint32_t read32(const std::byte* address) {
    const auto word = *reinterpret_cast<const volatile std::uint32_t*>(address);
    keep_order();
    return bus_order(word);
}

void write32(std::byte* address, std::uint32_t value) {
    *reinterpret_cast<volatile std::uint32_t*>(address) = bus_order(value);
    keep_order();
}

std::uint8_t read8(const std::byte* address) {
    const auto byte = *reinterpret_cast<const volatile std::uint8_t*>(address);
    keep_order();
    return byte;
}

void write8(std::byte* address, std::uint8_t value) {
    *reinterpret_cast<volatile std::uint8_t*>(address) = value;
    keep_order();
}

}  // namespace io::mmio
