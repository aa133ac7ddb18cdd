#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>

/// The one way to device memory. On a unit these are volatile accesses to a mapping of the I/O driver; in a
/// simulated unit an access inside the FPGA region goes to the device model that owns the address. Which of
/// the two is decided by the linker (target/ or sim/).
///
/// One call is one bus access, and accesses happen in program order. Words are 32-bit big-endian on the bus
/// whatever the host: values here are in host order. Addresses are those that `map` returned, plus offsets;
/// words are aligned to four bytes. All of it is safe to call before `main`.
namespace io::mmio {

/// Maps `length` bytes of an open device, readable, writable, shared and locked in memory.
/// @param device_offset  a device-defined offset, a multiple of the page size.
/// @return the start of the mapping, or nullptr with `errno` set.
[[nodiscard]] std::byte* map(int descriptor, std::size_t length, off_t device_offset);

/// Releases what `map` returned.
void unmap(std::byte* mapping, std::size_t length);

[[nodiscard]] std::uint32_t read32(const std::byte* address);
void write32(std::byte* address, std::uint32_t value);

[[nodiscard]] std::uint8_t read8(const std::byte* address);
void write8(std::byte* address, std::uint8_t value);

}  // namespace io::mmio
