#pragma once

#include "io/control.h"
#include "io/front_panel/front_panel.h"
#include "io/page_station/page_station.h"
#include "io/platform_tables.h"
#include "io/serial/io_lx4s.h"

#include <chrono>
#include <functional>
#include <span>
#include <string>

namespace tools::unitctl {

/// What of the accesses to device memory is printed under a command.
enum class trace_e { off, count, all };

/// The unit as the commands of one process see it: opened by the first that needs it, each driver brought up
/// by the first that uses it. Nothing is reset: registers, glass and keypad stay as the last one who used
/// them left them.
///
/// Drivers are handed out after their bring-up succeeded; otherwise `refusal_t` says what is missing.
class session_t {
  public:
    // Of the command at hand
    bool force = false;  ///< go on although the daemon holds the display, or this unit has no such device
    bool cold = false;   ///< hand drivers out as they are, without a bring-up
    [[nodiscard]] trace_e trace() const { return trace_; }
    void set_trace(trace_e trace);

    /// Settles which unit this is: reads its identity from the property engine and maps the FPGA. Blocks up
    /// to some seconds when the engine is silent.
    void open();
    /// Whether the property engine told the identity; false before `open`.
    [[nodiscard]] bool is_identified() const { return is_identified_; }

    using platforms_t = std::span<const io::platform_tables::platform_id_t>;
    /// Opens the unit and tells whether it is of one of these platforms.
    [[nodiscard]] bool is_on(platforms_t platforms);

    /// @param without_fpga  platforms on which the operation at hand asks the processor alone.
    [[nodiscard]] io::control_t& controller(platforms_t without_fpga = {});
    [[nodiscard]] io::front_panel_t& front_panel();
    [[nodiscard]] io::page_station_t& page_station();
    /// Brings up whichever LCD the unit has; true when it is a page station's.
    [[nodiscard]] bool lcd_is_page_stations();
    [[nodiscard]] io::io_lx4s_t& serial_panel();
    /// Gives the serial panel up: "OFFL", line closed. The next command that uses it brings it up anew.
    bool close_serial_panel();

    /// Behind what draws on the LCD: throws `refusal_t` when that did not get through, unless it is held
    /// back.
    static void require_shown();

    /// Throws `refusal_t` while the daemon holds the display, unless `force` is set.
    void claim_display() const;

    /// Prints what `set_trace` asked for of the accesses since the last call.
    void print_accesses() const;
    /// Calls `step` once every `period` until it returns false, Ctrl-C is pressed or `limit` has passed (0 is
    /// never). Time is counted in periods: the number of calls does not depend on how long they take.
    void repeat(std::chrono::milliseconds period, std::chrono::milliseconds limit,
                const std::function<bool()>& step) const;

  private:
    trace_e trace_ = trace_e::off;
    bool is_open_ = false;
    bool is_identified_ = false;
    bool controller_up_ = false;
    bool panel_up_ = false;
    bool station_up_ = false;
    bool serial_up_ = false;
};

}  // namespace tools::unitctl
