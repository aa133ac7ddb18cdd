#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace tools::unitctl {

/// One access to a unit's device memory.
struct bus_access_t {
    enum class kind_e : std::uint8_t { read32, write32, read8, write8 };
    kind_e kind{};
    bool in_shared_region = false;  ///< otherwise in the FPGA region
    std::uint32_t offset = 0;       ///< from the start of its region
    std::uint32_t value = 0;
    bool operator==(const bus_access_t& other) const = default;
};

/// Every access of this process to device memory. `unitctl` has an access file of its own
/// (traced_mmio.cpp), which tells this object of each and leaves it to the unit's real one: no other program
/// knows of it.
class bus_trace_t {
  public:
    /// Starts or stops to keep accesses; their number is counted at all times.
    void keep(bool on) { keeping_ = on; }
    /// Accesses since the last call.
    [[nodiscard]] std::uint64_t take_count();
    /// Those kept since the last call, as text: a line for each, the same in a row on one line.
    ///
    ///       write 000104 00000001      a word of the FPGA region
    ///       read  0c0100 00000000 x 100000
    ///       write 200503 ae            a byte
    ///       write shared 419ac 00000001
    [[nodiscard]] std::string take_text();

    // For the access file.
    void mapped(const std::byte* start, std::size_t length, off_t device_offset);
    void unmapped(const std::byte* start);
    void note(bus_access_t::kind_e kind, const std::byte* address, std::uint32_t value);

  private:
    struct region_t {
        const std::byte* start;
        std::size_t length;
        bool is_shared;
    };

    std::vector<region_t> regions_;
    std::vector<std::pair<bus_access_t, std::uint64_t>> kept_;  // how often in a row
    std::uint64_t count_ = 0;
    bool keeping_ = false;
};

/// This process's. Never destroyed; safe before `main`.
[[nodiscard]] bus_trace_t& bus_trace();

}  // namespace tools::unitctl
