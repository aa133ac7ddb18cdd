#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace sim {

/// What the bus carried: one access to the FPGA region.
struct bus_access_t {
    enum class kind_e : std::uint8_t { read32, write32, read8, write8 };
    kind_e kind{};
    std::uint32_t offset = 0;  ///< from the start of the FPGA region
    std::uint32_t value = 0;   ///< as written, or as the device answered

    bool operator==(const bus_access_t&) const = default;
};

/// A device on the FPGA's bus: decodes what arrives on its registers by its own rules. Offsets are relative
/// to where the device was plugged in. An access it has no register for is a violation to report.
class device_t {
  public:
    device_t() = default;
    device_t(const device_t&) = delete;
    device_t& operator=(const device_t&) = delete;
    virtual ~device_t() = default;

    virtual std::uint32_t read32(std::uint32_t offset);
    virtual void write32(std::uint32_t offset, std::uint32_t value);
    virtual std::uint8_t read8(std::uint32_t offset);
    virtual void write8(std::uint32_t offset, std::uint8_t value);

    /// Offsets of the words that can be read.
    [[nodiscard]] virtual std::vector<std::uint32_t> readable() const { return {}; }

  protected:
    /// Adds what a part of the device at `offset` has to read.
    static void add_readable(std::vector<std::uint32_t>& offsets, std::uint32_t offset, const device_t& part);
};

/// The FPGA's register space: devices plugged in by address range, every access counted and, on request,
/// recorded. One per process, built when the daemon maps "/dev/io" (sim/board/mmio.cpp) or by a test.
class fpga_t {
  public:
    fpga_t() = default;
    fpga_t(const fpga_t&) = delete;
    fpga_t& operator=(const fpga_t&) = delete;

    /// Plugs a device in at [offset, offset + length). Ranges must not overlap.
    void plug(std::uint32_t offset, std::uint32_t length, std::shared_ptr<device_t> device);

    std::uint32_t read32(std::uint32_t offset);
    void write32(std::uint32_t offset, std::uint32_t value);
    std::uint8_t read8(std::uint32_t offset);
    void write8(std::uint32_t offset, std::uint8_t value);

    /// Reads every word that can be read, of all devices or of the one that owns an offset, for whoever keeps
    /// a copy of them in memory.
    using take_t = std::function<void(std::uint32_t offset, std::uint32_t value)>;
    void read_all(const take_t& take);
    void read_owner(std::uint32_t offset, const take_t& take);

    /// Accesses since the start, and the record of those made while recording was on.
    [[nodiscard]] std::uint64_t access_count() const { return access_count_; }
    void record(bool on) { recording_ = on; }
    [[nodiscard]] const std::vector<bus_access_t>& recorded() const { return recorded_; }
    void forget_recorded() { recorded_.clear(); }

  private:
    struct slot_t {
        std::uint32_t offset;
        std::uint32_t length;
        std::shared_ptr<device_t> device;
        std::vector<std::uint32_t> readable;

        void read(const take_t& take) const;
    };

    slot_t* owner_of(std::uint32_t offset);
    void note(bus_access_t::kind_e kind, std::uint32_t offset, std::uint32_t value);

    std::vector<slot_t> slots_;
    std::uint64_t access_count_ = 0;
    bool recording_ = false;
    std::vector<bus_access_t> recorded_;
};

/// The FPGA of this process. Null until a unit was put together: by `set_fpga`, or, in a process that nobody
/// prepared (the daemon's simulation build), by the factory when the FPGA region is first mapped. The factory
/// builds the board of the unit root (sim/board/board.h) unless another one is set.
[[nodiscard]] fpga_t* fpga();
void set_fpga(std::unique_ptr<fpga_t> board);
void set_fpga_factory(std::function<std::unique_ptr<fpga_t>()> factory);
/// Builds the FPGA through the factory when there is none yet.
fpga_t* fpga_or_build();

}  // namespace sim
