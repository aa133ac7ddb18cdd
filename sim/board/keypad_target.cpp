#include "sim/board/keypad_target.h"

#include "sim/root/violations.h"

#include <algorithm>
#include <ctime>
#include <numeric>
#include <string>
#include <utility>

namespace sim {

namespace {

using namespace std::chrono_literals;

constexpr auto shortest_reset = 263us;
constexpr unsigned entry_key = 0xCA;
constexpr unsigned header_bits = 11;
constexpr unsigned whole_frame = 22;

// Return codes of a supervisory call, left in the first key byte
constexpr std::uint8_t call_succeeded = 0;
constexpr std::uint8_t no_access = 1;
constexpr std::uint8_t halted = 3;
constexpr std::uint8_t compare_failed = 4;

void keypad_violation(const std::string& what) {
    report_violation("keypad controller: " + what);
}

// The chip counts the time that the host takes, not the time in which something else has the processor: the
// window must not close on a busy machine.
std::chrono::nanoseconds host_time() {
    std::timespec now{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return std::chrono::seconds{now.tv_sec} + std::chrono::nanoseconds{now.tv_nsec};
}

}  // namespace

void keypad_target_t::set_pins(const pins_t& pins) {
    const auto before = std::exchange(state_.pins, pins);
    if (!chip_.present) {
        return;
    }
    if (pins.reset != before.reset) {
        pins.reset ? enter_reset() : leave_reset();
    }
    if (state_.mode == mode_e::key_window && state_.key_bits == 8 && pins.sclk && !before.sclk) {
        judge_key();
    }
    if (before.sclk && !pins.sclk) {
        if (pins.sdata != before.sdata) {
            keypad_violation("SDATA changed together with the falling edge of SCLK");
        }
        falling_edge(pins.sdata.value_or(false));
    }
    const auto own = driven();
    const bool contention = pins.sdata && own && *pins.sdata != *own;
    if (contention && !state_.contention) {
        keypad_violation("host and controller drive SDATA against each other");
    }
    state_.contention = contention;
}

bool keypad_target_t::look() {
    if (state_.pins.sdata) {
        return *state_.pins.sdata;
    }
    const bool level = driven().value_or(false);
    if (state_.busy == busy_e::high && !chip_.never_finishes && --state_.looks_left == 0) {
        state_.busy = busy_e::finished;
    }
    return level;
}

bool keypad_target_t::runs_firmware() const {
    const bool started =
        state_.mode == mode_e::application || (state_.mode == mode_e::key_window && state_.key_bits == 0);
    return chip_.present && started && std::ranges::any_of(chip_.flash, [](auto byte) { return byte != 0; });
}

std::optional<bool> keypad_target_t::driven() const {
    if (!chip_.present || state_.mode != mode_e::programming) {
        return std::nullopt;
    }
    if (state_.busy == busy_e::high || state_.busy == busy_e::finished) {
        return state_.busy == busy_e::high;
    }
    // Data bits follow falling edges 13 to 20 of a read frame.
    if (state_.reading && state_.frame_bits >= 13 && state_.frame_bits <= 20) {
        return (unsigned{state_.read_data} >> (20u - state_.frame_bits) & 1u) != 0;
    }
    return std::nullopt;
}

void keypad_target_t::enter_reset() {
    state_.mode = mode_e::reset;
    state_.reset_since = std::chrono::steady_clock::now();
    state_.busy = busy_e::no;
    state_.frame_bits = 0;
    state_.frame = 0;
    state_.reading = false;
    state_.ram = {};
    state_.registers = {};
    state_.queue = {};
}

void keypad_target_t::leave_reset() {
    if (state_.reset_since != std::chrono::steady_clock::time_point{} &&
        std::chrono::steady_clock::now() - state_.reset_since < shortest_reset) {
        keypad_violation("reset pulse shorter than 263 us");
    }
    state_.mode = mode_e::key_window;
    state_.window_opened = host_time();
    state_.key_bits = 0;
}

void keypad_target_t::judge_key() {
    const bool heard = chip_.entries_to_miss == 0;
    chip_.entries_to_miss -= heard ? 0 : 1;
    const bool in_time = host_time() - state_.window_opened <= std::chrono::microseconds{chip_.key_window_us};
    if (state_.frame != entry_key || !in_time) {
        keypad_violation(in_time ? "entry key wrong" : "entry key too late");
    }
    const bool enter = heard && in_time && state_.frame == entry_key;
    state_.mode = enter ? mode_e::programming : mode_e::application;
    chip_.entries += enter ? 1 : 0;
    state_.swallow = whole_frame - state_.key_bits;
    state_.frame = 0;
}

void keypad_target_t::falling_edge(bool bit) {
    if (state_.mode == mode_e::key_window) {
        state_.frame = state_.frame << 1 | (bit ? 1u : 0u);
        ++state_.key_bits;
    }
    if (state_.mode != mode_e::programming) {
        return;
    }
    switch (state_.busy) {
    case busy_e::waits_for_clock:
        state_.busy = busy_e::high;
        [[fallthrough]];
    case busy_e::high:
        if (state_.pins.sdata) {
            keypad_violation("bit sent while busy");
        }
        return;
    case busy_e::finished:
        state_.busy = busy_e::no;
        return;
    case busy_e::no:
        frame_clock(bit);
    }
}

void keypad_target_t::frame_clock(bool bit) {
    const bool host_sends = !state_.reading || state_.frame_bits == whole_frame - 1;
    if (host_sends && !state_.pins.sdata) {
        keypad_violation("bit taken while nobody drives SDATA");
    }
    if (state_.swallow > 0) {
        --state_.swallow;
        return;
    }
    if (state_.frame_bits == 0 && !bit) {
        return;
    }
    state_.frame = state_.frame << 1 | (bit ? 1u : 0u);
    ++state_.frame_bits;
    if (state_.frame_bits == header_bits && (state_.frame >> 8 & 1u) != 0) {
        state_.reading = true;
        state_.read_data = read(state_.frame >> 8, static_cast<std::uint8_t>(state_.frame));
    }
    if (state_.frame_bits == whole_frame) {
        end_frame();
    }
}

void keypad_target_t::end_frame() {
    const auto frame = std::exchange(state_.frame, 0);
    state_.frame_bits = 0;
    if (std::exchange(state_.reading, false)) {
        return;
    }
    const bool is_register = (frame >> 20 & 1u) != 0;
    const auto address = static_cast<std::uint8_t>(frame >> 11);
    const auto data = static_cast<std::uint8_t>(frame >> 3);
    if (is_register) {
        write_register(address, data);
    } else {
        ram(address) = data;
    }
}

std::uint8_t keypad_target_t::read(unsigned opcode, std::uint8_t address) {
    return opcode == 0b101 ? ram(address) : register_at(address);
}

void keypad_target_t::write_register(std::uint8_t address, std::uint8_t data) {
    if (address >= 0xF8 && address <= 0xFA) {
        state_.queue.at(address - 0xF8u) = data;
    } else if (address == 0xFF) {
        if (data == 0x12) {
            run_queue();
        }
    } else {
        register_at(address) = data;
    }
}

std::uint8_t& keypad_target_t::ram(std::uint8_t address) {
    const bool paged = state_.registers[0][0xF7] >> 6 == 0b10;
    return state_.ram.at(paged ? state_.registers[0][0xD0] & 7u : 0u)[address];
}

std::uint8_t& keypad_target_t::register_at(std::uint8_t address) {
    const bool common = address >= 0xF0 && address <= 0xF7;
    const unsigned bank = common ? 0 : state_.registers[0][0xF7] >> 4 & 1u;
    return state_.registers.at(bank)[address];
}

void keypad_target_t::run_queue() {
    auto& page = state_.ram[0];
    auto& key_1 = page[0xF8];
    const auto function = state_.registers[0][0xF0];
    if (state_.queue[0] != 0) {
        keypad_violation("the first instruction to run is no supervisory call");
    } else if (key_1 != 0x3A || page[0xF9] != state_.registers[0][0xF6] + 3) {
        keypad_violation("supervisory call with wrong keys");
        key_1 = halted;
    } else {
        key_1 = supervisory_call(function);
    }
    const bool in_trouble = ++chip_.operations == chip_.troubled_operation;
    if (in_trouble && chip_.trouble_is_silence) {
        chip_.never_finishes = true;
    } else if (in_trouble) {
        ++key_1;
    }
    const bool slow = function == 0x05 || function == 0x0A;
    state_.looks_left = slow ? std::max(chip_.slow_looks, 1u) : 1;
    state_.busy = busy_e::waits_for_clock;
}

std::uint8_t keypad_target_t::supervisory_call(std::uint8_t function) {
    auto& page = state_.ram[0];
    switch (function) {
    case 0x01:
        return read_block();
    case 0x05:
        chip_.flash = {};
        ++chip_.erases;
        return call_succeeded;
    case 0x06:
        if (page[0xFA] != 0) {
            keypad_violation("table " + std::to_string(page[0xFA]) + " asked for");
        }
        page[0xF9] = chip_.silicon_id[1];
        state_.registers[0][0xF3] = 0x52;
        state_.registers[0][0xF0] = 0x21;
        return chip_.silicon_id[0];
    case 0x07: {
        const auto sum = std::accumulate(chip_.flash.begin(), chip_.flash.end(), 0u);
        page[0xF9] = static_cast<std::uint8_t>(sum >> 8);
        return static_cast<std::uint8_t>(sum);
    }
    case 0x09:
        return call_succeeded;
    case 0x0A:
        return program_block();
    default:
        keypad_violation("unknown supervisory function " + std::to_string(function));
        return halted;
    }
}

std::uint8_t keypad_target_t::read_block() {
    const std::size_t block = state_.ram[0][0xFA];
    if (block >= keypad_chip_state_t::block_count) {
        return no_access;
    }
    auto& page = state_.ram.at(state_.registers[0][0xD5] & 7u);
    for (std::size_t i = 0; i < keypad_chip_state_t::block_size; ++i) {
        const auto at = block * keypad_chip_state_t::block_size + i;
        const unsigned wrong = at == chip_.misread_at ? chip_.misread_bits : 0u;
        page.at((state_.ram[0][0xFB] + i) % page.size()) = static_cast<std::uint8_t>(chip_.flash[at] ^ wrong);
    }
    ++chip_.blocks_read;
    return call_succeeded;
}

std::uint8_t keypad_target_t::program_block() {
    const std::size_t block = state_.ram[0][0xFA];
    if (block >= keypad_chip_state_t::block_count) {
        return no_access;
    }
    const auto& page = state_.ram.at(state_.registers[0][0xD4] & 7u);
    auto result = call_succeeded;
    for (std::size_t i = 0; i < keypad_chip_state_t::block_size; ++i) {
        const auto at = block * keypad_chip_state_t::block_size + i;
        const unsigned wanted = page.at((state_.ram[0][0xFB] + i) % page.size());
        const unsigned stuck = at == chip_.stuck_at ? chip_.stuck_bits : 0u;
        // Programming can only set bits.
        chip_.flash[at] = static_cast<std::uint8_t>(chip_.flash[at] | (wanted & ~stuck));
        if (chip_.flash[at] != wanted) {
            result = compare_failed;
        }
    }
    ++chip_.blocks_programmed;
    return result;
}

}  // namespace sim
