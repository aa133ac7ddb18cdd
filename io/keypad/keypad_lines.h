#pragma once

#include "io/register_field.h"

#include <cstddef>
#include <cstdint>

namespace io {

/// The outputs of the keypad line register. They cannot be read back, so that their shadow is the only record
/// of them: every change is made there and the whole word written. One writer only.
class keypad_line_outputs_t {
  public:
    void set_register(std::byte* address) { register_ = address; }

    /// Makes all outputs 0.
    void clear_all() { write(0); }
    /// Changes fields in the shadow; one register write each.
    void set(field_t field) { write(shadow_ | field.mask()); }
    void clear(field_t field) { write(shadow_ & ~field.mask()); }

    [[nodiscard]] std::uint32_t shadow() const { return shadow_; }

  private:
    void write(std::uint32_t word);

    std::byte* register_ = nullptr;
    std::uint32_t shadow_ = 0;
};

/// The three lines by which the page station's keypad controller is programmed, SCLK, SDATA and XRES, as bits
/// of the line register; and that register's other use, telling that a key event waits. One register access
/// per operation. Before the register is known, writes go nowhere and reads give 0.
class keypad_lines_t {
  public:
    /// @param address  of the keypad line register; read and written as a 32-bit word.
    void set_register(std::byte* address);

    /// Everything released, programming off.
    void clear() { outputs_.clear_all(); }
    /// Connects the lines with the controller's pins.
    void programming_on();
    void programming_off();

    void sclk_high();
    void sclk_low();
    void sclk_drive_on();
    void sdata_high();
    void sdata_low();
    void sdata_drive_on();
    void sdata_released();
    void xres_drive_on();
    void xres_asserted();
    void xres_released();

    /// SDATA as it is on the pin, whoever drives it.
    [[nodiscard]] bool sdata() const;
    /// Meaningful while programming is off.
    [[nodiscard]] bool key_event_pending() const { return sdata(); }

    [[nodiscard]] std::uint32_t line_shadow() const { return outputs_.shadow(); }

  private:
    keypad_line_outputs_t outputs_;
    const std::byte* inputs_ = nullptr;
};

/// The lines of the unit's one page station, which tells them their register. Never destroyed.
[[nodiscard]] keypad_lines_t& keypad_lines();

}  // namespace io
