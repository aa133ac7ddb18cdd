#pragma once

#include "io/spi.h"
#include "io/system.h"

#include <cstddef>
#include <cstdint>

namespace io {

/// The unit-level controls: alert output, lamps, fans, temperature, status inputs. Base of the controllers of
/// the platforms, which derive from it.
///
/// Every operation returns whether it succeeded and throws nothing. An argument out of range is refused with
/// a line on standard output. Operations on registers fail quietly while `ready` says no; those that a
/// platform does not have succeed and do nothing. Not for use from two threads.
///
/// What needs `initialise` first: the sensor of the controller block (`get_temperature`), the exported GPIO
/// line of platforms 12 and 17 (`get_gpio_status`, `get_gpio_line`), and `shared_status`. All else needs a
/// constructed object alone.
class control_t : public system_t {
  public:
    enum class output_e : std::uint8_t { a, b, c };  ///< bits 0, 11 and 13 of the enables
    enum class command_e : std::uint8_t { a, b };    ///< 0xF00 and 0x8000

    /// The inputs beside the level output.
    struct inputs_t {
        bool present = false;  ///< on either of two lines
        bool fault_a = false;
        bool fault_b = false;
        bool active = false;  ///< the line itself is active low
    };

    control_t() = default;

    /// Finds the sensor's SPI controller and the shared status; on platforms 12 and 17, which have neither,
    /// exports the GPIO line of the status input anew. Touches no register.
    /// @param full  for derived controllers; means nothing here.
    /// @return false while `ready` says no, with a line on standard output; on platforms 12 and 17 when a
    ///         GPIO file cannot be opened, with a line in the log "drv_io".
    [[nodiscard]] bool initialise(bool full);

    /// @param percent  0..100
    bool set_alert_duty_cycle(unsigned percent);
    /// @param hz  2..16274 Hz, rounded to steps of about 4 Hz
    bool set_alert_frequency(std::uint32_t hz);
    bool set_alert_enable(bool on);

    /// Lamps of platform 8: brightness grows exponentially with the percentage.
    /// @param lamp     0 or 1
    /// @param percent  10..100
    bool set_lamp_brightness(int lamp, double percent);

    /// @param fan  0 or 1
    /// @param rpm  revolutions per minute; 0 when the fan stands still or the platform has none
    bool get_fan_speed(int fan, std::uint32_t& rpm);
    /// One step of the fan control. Call it at even intervals: the drive follows the temperature smoothly.
    /// Platforms 7, 8 and 13 run their fans at a fixed drive whatever the temperature. Where the temperature
    /// counts (platforms 2 and 6), one that is not a number is refused quietly and changes nothing.
    bool set_fan_drive(double celsius);

    /// The unit's temperature, from the sensor of the controller block or of the processor. Blocks for one
    /// SPI transfer; before `initialise` it fails as a transfer without a base does.
    /// @param celsius  left as it was on a platform without sensor, and on platform 7 when the sensor's
    ///                 answer is no reading: both succeed
    /// @param cached   takes the last reading from the shared region instead of asking a sensor, while
    ///                 `ready` says yes, before `initialise` too; whatever stands there while nobody took
    ///                 one. Platforms 12 and 14 ask their processor all the same
    bool get_temperature(float& celsius, bool cached = false);

    /// The status input: line 113 at 0 on platforms 12 and 17, otherwise a pair of register bits.
    bool get_gpio_status(bool& state);
    /// The same line in the other sense: set when the line is at 1. Left as it was on platforms without it.
    bool get_gpio_line(bool& state);

    bool set_output_enable(output_e output, bool on);
    bool get_hardware_revision(std::uint32_t& revision);
    bool send_command(command_e command);
    bool get_status_input(bool& state);
    bool send_pulse();
    /// @param value  0..65535, 32768 is the middle
    bool set_level(std::uint16_t value);
    bool set_level_output(bool on);
    /// The five inputs as a number, 0..31.
    bool get_level_reading(std::uint32_t& reading);
    bool get_inputs(inputs_t& inputs);

    /// Kept for derived controllers.
    [[nodiscard]] bool enabled() const { return enabled_; }
    void set_enabled(bool enabled) { enabled_ = enabled; }
    /// The three words of the I/O shared region for the status of the unit's controller, of which the last
    /// two hold platform id and slot count. Null before `initialise` and where it found no FPGA.
    [[nodiscard]] std::byte* shared_status() const { return shared_status_; }

  private:
    [[nodiscard]] bool initialise_gpio();
    bool read_sensor(float& celsius);

    std::byte* shared_status_ = nullptr;
    bool enabled_ = false;
    float fan_control_ = -1.0F;  ///< smoothed input of the fan drive, -1..1
    spi_t spi_;
};

/// The unit's controller, constructed on first use and never destroyed.
[[nodiscard]] control_t& control();

}  // namespace io
