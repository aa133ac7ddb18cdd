// The access file of unitctl: tells of every access and leaves it to the access file that all other programs
// have, compiled once more with another name for its namespace (CMakeLists.txt).

#include "io/mmio.h"
#include "tools/unitctl/bus_trace.h"

namespace io::untraced_mmio {

[[nodiscard]] std::byte* map(int descriptor, std::size_t length, off_t device_offset);
void unmap(std::byte* mapping, std::size_t length);
[[nodiscard]] std::uint32_t read32(const std::byte* address);
void write32(std::byte* address, std::uint32_t value);
[[nodiscard]] std::uint8_t read8(const std::byte* address);
void write8(std::byte* address, std::uint8_t value);

}  // namespace io::untraced_mmio

namespace io::mmio {

using tools::unitctl::bus_trace;
using kind_e = tools::unitctl::bus_access_t::kind_e;

std::byte* map(int descriptor, std::size_t length, off_t device_offset) {
    auto* const mapping = untraced_mmio::map(descriptor, length, device_offset);
    bus_trace().mapped(mapping, length, device_offset);
    return mapping;
}

void unmap(std::byte* mapping, std::size_t length) {
    bus_trace().unmapped(mapping);
    untraced_mmio::unmap(mapping, length);
}

std::uint32_t read32(const std::byte* address) {
    const auto value = untraced_mmio::read32(address);
    bus_trace().note(kind_e::read32, address, value);
    return value;
}

void write32(std::byte* address, std::uint32_t value) {
    bus_trace().note(kind_e::write32, address, value);
    untraced_mmio::write32(address, value);
}

std::uint8_t read8(const std::byte* address) {
    const auto value = untraced_mmio::read8(address);
    bus_trace().note(kind_e::read8, address, value);
    return value;
}

void write8(std::byte* address, std::uint8_t value) {
    bus_trace().note(kind_e::write8, address, value);
    untraced_mmio::write8(address, value);
}

}  // namespace io::mmio
