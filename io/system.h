#pragma once

#include <cstddef>
#include <cstdint>

namespace io {

/// The hardware root: finds out on which platform the process runs, maps the FPGA's registers and the I/O
/// shared region, and settles platform id and slot count. The drivers of the FPGA's blocks derive from it
/// (`control_t`, with it `page_station_t`, and `front_panel_t`), so that the mapping lasts as long as they
/// do. The serial panel, whose line is no part of the FPGA, does not: it asks for the platform id and needs
/// some other system_t to have settled it. All state is static, so an object is the size of a pointer. Not
/// for concurrent construction.
///
/// Every construction goes through the detection again. Where that leads to the device, it counts a reference
/// and opens the device unless it is open: after a failed open the next construction tries again, after a
/// failed mapping it does not.
///
/// Construction blocks for up to 1000 ms each time it asks the property engine for "/sys/config/platform": on
/// first-generation units, and on all that are neither emulated nor studio nor lite units. An engine that is
/// gone costs nothing. The constructor never throws for hardware trouble: failures are logged to "drv_io" and
/// leave the pointers null, which `ready` tells.
class system_t {
  public:
    system_t();
    system_t(const system_t&) = delete;
    system_t& operator=(const system_t&) = delete;
    /// Releases the mappings and closes the device when the last reference goes.
    virtual ~system_t();

    /// True when the driver device is open and both regions are mapped. Asked before any register access.
    [[nodiscard]] static bool ready();

    /// Start of the FPGA's registers; null while unmapped. Access only through io/mmio.h.
    [[nodiscard]] static std::byte* fpga_base();
    /// Start of the I/O shared region (also the DMA buffer); big-endian 32-bit words. Null while there is
    /// none.
    [[nodiscard]] static std::byte* shared_base();
    [[nodiscard]] static std::byte* shared_area_b();
    /// The part of the shared region that the panel and card drivers use.
    [[nodiscard]] static std::byte* shared_area_c();

    /// 1..18, or 0 while not settled.
    [[nodiscard]] static std::uint32_t platform_id();
    [[nodiscard]] static std::uint32_t slot_count();
    /// Word 0 of the FPGA region as read when it was mapped.
    [[nodiscard]] static std::uint32_t fpga_id();

    /// "Base Unit", "Paging Desk" and so on; "Unrecognized" for an id that is none.
    [[nodiscard]] static const char* platform_display_name(std::uint32_t platform_id);

    /// True on a page station, whose LCD, keypad and lines lie in an FPGA block of their own.
    [[nodiscard]] static bool is_page_station();
    /// True for the studio family's model codes (85, 93, 94, 100).
    [[nodiscard]] static bool is_studio_model();
    /// True when "/sys/config/platform" reads "vnode". Blocks up to 1000 ms for the engine's answer.
    [[nodiscard]] static bool is_vnode();
};

/// The process's hardware root, constructed on first use and never destroyed: it keeps the FPGA mapped
/// whatever drivers come and go.
[[nodiscard]] const system_t& hardware_root();

}  // namespace io
