#pragma once

#include "sim/board/keypad_state.h"

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>

namespace sim {

/// The keypad controller's chip as it is seen on its programming pins: an 8 KiB microcontroller with
/// in-system serial programming. It understands frames by what they mean (an access to a register or a RAM
/// byte, a supervisory call) and knows none of a programmer's vectors. What a real chip would not stand, such
/// as two drivers on SDATA or a call with wrong keys, is a violation to report.
class keypad_target_t {
  public:
    struct pins_t {
        bool reset = true;
        bool sclk = false;
        std::optional<bool> sdata;  ///< empty while the host does not drive it

        bool operator==(const pins_t&) const = default;
    };

    /// What the chip has in mind between two clocks. It outlives the processes that use it.
    struct state_t {
        enum class mode_e : std::uint8_t { reset, key_window, programming, application };
        enum class busy_e : std::uint8_t { no, waits_for_clock, high, finished };

        pins_t pins;
        bool contention = false;

        mode_e mode = mode_e::reset;
        std::chrono::steady_clock::time_point reset_since{};
        std::chrono::nanoseconds window_opened{};
        unsigned key_bits = 0;
        unsigned swallow = 0;  ///< bits left of the key's frame

        unsigned frame_bits = 0;  ///< of the open frame
        std::uint32_t frame = 0;
        bool reading = false;
        std::uint8_t read_data = 0;

        busy_e busy = busy_e::no;
        unsigned looks_left = 0;

        std::array<std::array<std::uint8_t, 256>, 8> ram{};
        std::array<std::array<std::uint8_t, 256>, 2> registers{};
        std::array<std::uint8_t, 3> queue{};
    };

    keypad_target_t(keypad_chip_state_t& chip, state_t& state) : chip_{chip}, state_{state} {}

    /// What the host puts on the pins.
    void set_pins(const pins_t& pins);
    /// The host looks at SDATA. Pulled down while nobody drives it.
    [[nodiscard]] bool look();

    /// Whether the chip runs a firmware of its own: it is neither in reset, nor being programmed, nor blank.
    [[nodiscard]] bool runs_firmware() const;

  private:
    using mode_e = state_t::mode_e;
    using busy_e = state_t::busy_e;

    void enter_reset();
    void leave_reset();
    void judge_key();
    void falling_edge(bool bit);
    void frame_clock(bool bit);
    void end_frame();

    [[nodiscard]] std::optional<bool> driven() const;
    std::uint8_t read(unsigned opcode, std::uint8_t address);
    void write_register(std::uint8_t address, std::uint8_t data);
    std::uint8_t& ram(std::uint8_t address);
    std::uint8_t& register_at(std::uint8_t address);

    void run_queue();
    std::uint8_t supervisory_call(std::uint8_t function);
    std::uint8_t read_block();
    std::uint8_t program_block();

    keypad_chip_state_t& chip_;
    state_t& state_;
};

}  // namespace sim
