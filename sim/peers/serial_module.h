#pragma once

#include "sim/peers/pseudo_terminal.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace sim {

/// What the module's glass shows.
struct serial_display_t {
    std::array<std::uint8_t, 4> digits{};  ///< segments, left to right; bit 0 is the top one
    std::uint8_t leds = 0;
    std::uint8_t mode = 0;

    bool operator==(const serial_display_t&) const = default;
};

/// How the module answers the question whether it is there.
struct serial_manners_t {
    std::string answer = "C";            ///< empty: silent
    std::chrono::milliseconds delay{0};  ///< after the question
};

/// The display module of a serial front panel: a party of its own at the far end of a pseudo-terminal, on a
/// thread of its own, that knows nothing but the bytes it gets and the speed its crystal is cut for.
///
///     sim::serial_module_t module{sim::shared_state<sim::serial_display_t>("serial_module")};
///     module.connect(unit.file(zel::paths::serial_front_panel));
///
/// It starts a frame anew on every start byte, and reports as a violation a frame cut off by that, bytes that
/// belong to none, a segment that no digit has, and a line of another speed.
class serial_module_t {
  public:
    struct timed_display_t {
        std::chrono::steady_clock::time_point at;
        serial_display_t display;
    };

    /// @param glass  where the module keeps what it shows; to be read through `display` in this process.
    explicit serial_module_t(serial_display_t& glass, serial_manners_t manners = {});
    serial_module_t(const serial_module_t&) = delete;
    serial_module_t& operator=(const serial_module_t&) = delete;
    ~serial_module_t();

    /// The device node that the unit talks to.
    [[nodiscard]] const std::string& path() const { return line_.path(); }
    /// Lets a device of the unit lead to the module: a symbolic link, made anew.
    void connect(const std::string& device) const;

    [[nodiscard]] serial_display_t display() const;
    /// The frames so far, oldest first; of a long run the latest few thousand.
    [[nodiscard]] std::vector<timed_display_t> history() const;
    /// Waits until at least `count` frames have come; false when they do not within `patience`.
    [[nodiscard]] bool wait_for_frames(std::size_t count, std::chrono::milliseconds patience) const;
    /// How often the unit has asked whether the module is there.
    [[nodiscard]] std::size_t questions() const;

    /// Goes away for good, as if unplugged: what the unit writes from then on fails.
    void vanish();

  private:
    using clock_t = std::chrono::steady_clock;

    void run();
    void hear();
    [[nodiscard]] bool line_fits() const;
    void take(std::uint8_t byte);
    void show();
    void answer_when_due();

    serial_display_t& glass_;
    const serial_manners_t manners_;
    pseudo_terminal_t line_;
    int wake_up_;
    std::vector<std::uint8_t> frame_;
    bool astray_ = false;
    std::optional<clock_t::time_point> answer_due_;
    mutable std::mutex mutex_;  // guards glass_, history_, frames_ and questions_
    std::vector<timed_display_t> history_;
    std::size_t frames_ = 0;
    std::size_t questions_ = 0;
    std::thread thread_;
};

}  // namespace sim
