#pragma once

#include "sim/board/spi_controller.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace sim {

/// The keypad controller's chip: what is in its flash, what is wrong with it, and what was done to it.
struct keypad_chip_state_t {
    static constexpr std::size_t block_size = 128;
    static constexpr std::size_t block_count = 64;

    // For whoever sets the unit up
    bool present = true;
    std::array<std::uint8_t, 2> silicon_id{0x00, 0xBA};
    std::array<std::uint8_t, block_size * block_count> flash{};  ///< erased: all zero
    std::uint32_t slow_looks = 1;          ///< looks of the host that find an erase or program still running
    std::uint32_t key_window_us = 1000;    ///< after a reset, in which the entry key is heard
    std::uint32_t entries_to_miss = 0;     ///< resets whose entry key goes unheard, before one works
    bool never_finishes = false;           ///< operations start and do not end
    std::uint32_t troubled_operation = 0;  ///< which operation, counted from 1, ...
    bool trouble_is_silence = false;  ///< ...never ends, or else ends with a first result byte that is wrong
    std::uint16_t stuck_at = 0;       ///< flash byte of which...
    std::uint8_t stuck_bits = 0;      ///< ...these bits cannot be programmed
    std::uint16_t misread_at = 0;     ///< flash byte of which...
    std::uint8_t misread_bits = 0;    ///< ...these bits read wrong

    // What happened
    std::uint32_t entries = 0;  ///< into the programming mode
    std::uint32_t operations = 0;
    std::uint32_t erases = 0;
    std::uint32_t blocks_programmed = 0;
    std::uint32_t blocks_read = 0;
};

/// What the keypad shows, and what is done to its keys.
struct keypad_face_state_t {
    static constexpr std::size_t led_count = 33;
    static constexpr std::size_t event_room = 32;

    struct event_t {
        std::uint8_t key = 0;  ///< 0..63
        bool pressed = false;
    };

    std::uint8_t answer = 0x42;  ///< first byte of every answer; another one is a fault

    std::array<bool, led_count> leds_a{};
    std::array<bool, led_count> leds_b{};
    std::uint32_t led_updates = 0;

    // Key events that wait, written on one side and taken on the other.
    std::array<event_t, event_room> events{};
    std::uint32_t events_made = 0;
    std::uint32_t events_taken = 0;

    [[nodiscard]] bool event_waits() const { return events_made != events_taken; }
    /// Presses or releases a key. Without effect while the keypad's memory for events is full.
    void key(std::uint8_t number, bool pressed) {
        if (events_made - events_taken < event_room) {
            events[events_made++ % event_room] = {number, pressed};
        }
    }
    event_t take_event() { return events[events_taken++ % event_room]; }
};

/// Everything that can be set and watched on a page station from outside, but its screen.
struct page_station_state_t {
    std::uint32_t revision = 21;  ///< 0..31
    std::uint32_t inputs = 0;
    bool general_inputs[2] = {};  ///< control register bits 3 and 4

    bool general_outputs[4] = {};  ///< control register bits 0, 1, 2 and 14
    std::int32_t backlight = 0;    ///< -128..127
    bool keypad_runs = false;

    keypad_chip_state_t chip;
    keypad_face_state_t face;
    spi_link_t keypad_link;
};

}  // namespace sim
