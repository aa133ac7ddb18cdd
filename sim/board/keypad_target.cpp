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
constexpr auto key_window = 1ms;
constexpr unsigned entry_key = 0xCA;
constexpr unsigned header_bits = 11;
constexpr unsigned whole_frame = 22;

// Return codes of a supervisory call, left in the first key byte
constexpr std::uint8_t call_succeeded = 0;
constexpr std::uint8_t no_access = 1;
constexpr std::uint8_t halted = 3;
constexpr std::uint8_t compare_failed = 4;

void complain(const std::string& what) {
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
    const auto before = std::exchange(pins_, pins);
    if (!chip_.present) {
        return;
    }
    if (pins.reset != before.reset) {
        pins.reset ? enter_reset() : leave_reset();
    }
    if (mode_ == mode_e::key_window && key_bits_ == 8 && pins.sclk && !before.sclk) {
        judge_key();
    }
    if (before.sclk && !pins.sclk) {
        if (pins.sdata != before.sdata) {
            complain("SDATA changed together with the falling edge of SCLK");
        }
        falling_edge(pins.sdata.value_or(false));
    }
    const auto own = driven();
    const bool contention = pins.sdata && own && *pins.sdata != *own;
    if (contention && !contention_) {
        complain("host and controller drive SDATA against each other");
    }
    contention_ = contention;
}

bool keypad_target_t::look() {
    if (pins_.sdata) {
        return *pins_.sdata;
    }
    const bool level = driven().value_or(false);
    if (busy_ == busy_e::high && !chip_.never_finishes && --looks_left_ == 0) {
        busy_ = busy_e::finished;
    }
    return level;
}

bool keypad_target_t::runs_firmware() const {
    const bool started = mode_ == mode_e::application || (mode_ == mode_e::key_window && key_bits_ == 0);
    return chip_.present && started && std::ranges::any_of(chip_.flash, [](auto byte) { return byte != 0; });
}

std::optional<bool> keypad_target_t::driven() const {
    if (!chip_.present || mode_ != mode_e::programming) {
        return std::nullopt;
    }
    if (busy_ == busy_e::high || busy_ == busy_e::finished) {
        return busy_ == busy_e::high;
    }
    // Data bits follow falling edges 13 to 20 of a read frame.
    if (reading_ && frame_bits_ >= 13 && frame_bits_ <= 20) {
        return (read_data_ >> (20 - frame_bits_) & 1u) != 0;
    }
    return std::nullopt;
}

void keypad_target_t::enter_reset() {
    mode_ = mode_e::reset;
    reset_since_ = clock_t::now();
    busy_ = busy_e::no;
    frame_bits_ = 0;
    frame_ = 0;
    reading_ = false;
    ram_ = {};
    registers_ = {};
    queue_ = {};
}

void keypad_target_t::leave_reset() {
    if (reset_since_ != clock_t::time_point{} && clock_t::now() - reset_since_ < shortest_reset) {
        complain("reset pulse shorter than 263 us");
    }
    mode_ = mode_e::key_window;
    window_opened_ = host_time();
    key_bits_ = 0;
}

void keypad_target_t::judge_key() {
    const bool heard = chip_.entries_to_miss == 0;
    chip_.entries_to_miss -= heard ? 0 : 1;
    const bool in_time = host_time() - window_opened_ <= key_window;
    if (frame_ != entry_key || !in_time) {
        complain(in_time ? "entry key wrong" : "entry key too late");
    }
    const bool enter = heard && in_time && frame_ == entry_key;
    mode_ = enter ? mode_e::programming : mode_e::application;
    chip_.entries += enter ? 1 : 0;
    swallow_ = whole_frame - key_bits_;
    frame_ = 0;
}

void keypad_target_t::falling_edge(bool bit) {
    if (mode_ == mode_e::key_window) {
        frame_ = frame_ << 1 | (bit ? 1u : 0u);
        ++key_bits_;
    }
    if (mode_ != mode_e::programming) {
        return;
    }
    switch (busy_) {
    case busy_e::waits_for_clock:
        busy_ = busy_e::high;
        [[fallthrough]];
    case busy_e::high:
        if (pins_.sdata) {
            complain("bit sent while busy");
        }
        return;
    case busy_e::finished:
        busy_ = busy_e::no;
        return;
    case busy_e::no:
        frame_clock(bit);
    }
}

void keypad_target_t::frame_clock(bool bit) {
    const bool host_sends = !reading_ || frame_bits_ == whole_frame - 1;
    if (host_sends && !pins_.sdata) {
        complain("bit taken while nobody drives SDATA");
    }
    if (swallow_ > 0) {
        --swallow_;
        return;
    }
    if (frame_bits_ == 0 && !bit) {
        return;
    }
    frame_ = frame_ << 1 | (bit ? 1u : 0u);
    ++frame_bits_;
    if (frame_bits_ == header_bits && (frame_ >> 8 & 1u) != 0) {
        reading_ = true;
        read_data_ = read(frame_ >> 8, static_cast<std::uint8_t>(frame_));
    }
    if (frame_bits_ == whole_frame) {
        end_frame();
    }
}

void keypad_target_t::end_frame() {
    const auto frame = std::exchange(frame_, 0);
    frame_bits_ = 0;
    if (std::exchange(reading_, false)) {
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
        queue_.at(address - 0xF8u) = data;
    } else if (address == 0xFF) {
        if (data == 0x12) {
            run_queue();
        }
    } else {
        register_at(address) = data;
    }
}

std::uint8_t& keypad_target_t::ram(std::uint8_t address) {
    const bool paged = registers_[0][0xF7] >> 6 == 0b10;
    return ram_.at(paged ? registers_[0][0xD0] & 7u : 0u)[address];
}

std::uint8_t& keypad_target_t::register_at(std::uint8_t address) {
    const bool common = address >= 0xF0 && address <= 0xF7;
    const unsigned bank = common ? 0 : registers_[0][0xF7] >> 4 & 1u;
    return registers_.at(bank)[address];
}

void keypad_target_t::run_queue() {
    auto& page = ram_[0];
    auto& key_1 = page[0xF8];
    const auto function = registers_[0][0xF0];
    if (queue_[0] != 0) {
        complain("the first instruction to run is no supervisory call");
    } else if (key_1 != 0x3A || page[0xF9] != registers_[0][0xF6] + 3) {
        complain("supervisory call with wrong keys");
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
    looks_left_ = slow ? std::max(chip_.slow_looks, 1u) : 1;
    busy_ = busy_e::waits_for_clock;
}

std::uint8_t keypad_target_t::supervisory_call(std::uint8_t function) {
    auto& page = ram_[0];
    switch (function) {
    case 0x01:
        return read_block();
    case 0x05:
        chip_.flash = {};
        ++chip_.erases;
        return call_succeeded;
    case 0x06:
        if (page[0xFA] != 0) {
            complain("table " + std::to_string(page[0xFA]) + " asked for");
        }
        page[0xF9] = chip_.silicon_id[1];
        registers_[0][0xF3] = 0x52;
        registers_[0][0xF0] = 0x21;
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
        complain("unknown supervisory function " + std::to_string(function));
        return halted;
    }
}

std::uint8_t keypad_target_t::read_block() {
    const std::size_t block = ram_[0][0xFA];
    if (block >= keypad_chip_state_t::block_count) {
        return no_access;
    }
    auto& page = ram_.at(registers_[0][0xD5] & 7u);
    for (std::size_t i = 0; i < keypad_chip_state_t::block_size; ++i) {
        const auto at = block * keypad_chip_state_t::block_size + i;
        const unsigned wrong = at == chip_.misread_at ? chip_.misread_bits : 0u;
        page.at((ram_[0][0xFB] + i) % page.size()) = static_cast<std::uint8_t>(chip_.flash[at] ^ wrong);
    }
    ++chip_.blocks_read;
    return call_succeeded;
}

std::uint8_t keypad_target_t::program_block() {
    const std::size_t block = ram_[0][0xFA];
    if (block >= keypad_chip_state_t::block_count) {
        return no_access;
    }
    const auto& page = ram_.at(registers_[0][0xD4] & 7u);
    auto result = call_succeeded;
    for (std::size_t i = 0; i < keypad_chip_state_t::block_size; ++i) {
        const auto at = block * keypad_chip_state_t::block_size + i;
        const unsigned wanted = page.at((ram_[0][0xFB] + i) % page.size());
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
