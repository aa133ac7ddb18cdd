#pragma once

#include "io/serial/serial_port.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <thread>

namespace io {

/// The serial front panel of platform 9: a display module with four seven-segment digits and a row of
/// indicator LEDs on the unit's first serial port. It shows a percentage, and plays an animation of squares
/// while a worker thread runs.
///
///     auto& panel = io::serial_panel();
///     if (panel.init(true)) {
///         panel.start();
///         panel.set_progress(42);   // from then on as often as it changes
///     }
///
/// Two threads: while the worker runs, it alone uses frame and port, and the caller's thread only hands over
/// progress values. All operations are for one caller's thread. Messages go to "drv_io_lx4s" at level debug.
///
/// A frame that cannot be sent throws `zel::serial_port_exception` out of `set_progress`, `draw_progress` and
/// `clear`. On the worker nobody catches it: a module that vanishes while the worker runs ends the process.
class io_lx4s_t {
  public:
    static constexpr std::chrono::milliseconds standard_frame_period{250};

    /// @param frame_period  how long the worker shows each frame.
    explicit io_lx4s_t(std::chrono::milliseconds frame_period = standard_frame_period);
    io_lx4s_t(const io_lx4s_t&) = delete;
    io_lx4s_t& operator=(const io_lx4s_t&) = delete;
    /// Stops the worker and closes.
    ~io_lx4s_t();

    /// Asks for the unit's platform, and brings the panel up when `full`. Touches nothing otherwise.
    /// @return false on another platform, or when `open` fails.
    [[nodiscard]] bool init(bool full);

    /// Opens and sets up the line (115200 bit/s, 8 data bits, no parity, one stop bit, raw), asks the module
    /// whether it is there, and shows it the last frame: blank the first time, "OFFL" again after `close`.
    /// Blocks half a second, the time the module has for its answer.
    /// @return false, with a line in the log, when the line or the module does not answer as it should; the
    ///         line may be open then.
    [[nodiscard]] bool open();

    /// Starts the worker. Does nothing while one runs; a thread that the system refuses leaves the panel
    /// stopped, and progress values are then drawn at once.
    void start();
    /// Ends the worker and waits for it. Blocks up to about 8 s: the worker looks for the request only after
    /// an animation pass of 16 frames and the 16 frames of a progress value.
    void stop();
    [[nodiscard]] bool is_running() const { return !stopped_; }

    /// Shows a percentage: handed to the worker while that runs (shown within 4 s, for 4 s, the newest value
    /// winning, but for one that comes during the last frame of those 4 s), drawn at once otherwise.
    /// @return false for a negative value, which changes nothing.
    bool set_progress(std::int32_t percent);

    /// Draws hundreds, tens and units on digits 1 to 3, without leading zeros; digit 4 stays blank. Not while
    /// the worker runs. @return false for a negative value.
    bool draw_progress(std::int32_t percent);
    /// Blanks digits and LEDs. Not while the worker runs.
    bool clear();

    /// Stops the worker, leaves "OFFL" on the digits and closes the line; after another `open`, `clear` or a
    /// value takes it away. A line that fails is ignored, and then stays open until the end of the object.
    bool close();

    /// The module has answered.
    [[nodiscard]] bool is_present() const { return present_; }

  private:
    // Frame start; digits 1 to 4, left to right; indicator LEDs; mode.
    using frame_t = std::array<std::uint8_t, 7>;

    void send_frame();
    void run_worker();
    void play_animation();
    void show_handed_over_progress();

    bool present_ = false;
    std::atomic<bool> pending_{false};
    std::atomic<std::int32_t> progress_{0};
    zel::serial_port port_;
    frame_t frame_{0x99};
    std::thread thread_;
    std::atomic<bool> stopped_{true};

    // The worker's own.
    unsigned step_ = 0;
    bool lower_square_ = false;
    const std::chrono::milliseconds frame_period_;
};

/// The unit's serial front panel, constructed on first use and never destroyed.
[[nodiscard]] io_lx4s_t& serial_panel();

}  // namespace io
