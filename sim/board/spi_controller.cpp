#include "sim/board/spi_controller.h"

#include "sim/root/violations.h"

#include <algorithm>

namespace sim {

namespace {

// What has to happen before a start.
constexpr unsigned prepared = 1;
constexpr unsigned control_written = 2;
constexpr unsigned rate_written = 4;
constexpr unsigned length_written = 8;

// The bit clock is the overflow of an 11-bit accumulator that the rate is added to at a third of 100 MHz.
std::uint32_t clock_from(std::uint32_t rate) {
    return static_cast<std::uint32_t>(std::uint64_t{rate} * 100'000'000 / 3 / 2048);
}

void complain(const char* what, std::uint32_t value) {
    report_violation(std::string{"SPI controller: "} + what + ' ' + std::to_string(value));
}

}  // namespace

std::uint32_t spi_controller_t::read32(std::uint32_t offset) {
    if (offset == 0) {
        return status();
    }
    if (offset >= 0x80 && offset < 0xC0 && offset % 4 == 0) {
        if (!end_was_seen_ && !faulty(spi_fault_e::never_done)) {
            complain("data read before the transfer was done, word", (offset - 0x80) / 4);
        }
        return receive_[(offset - 0x80) / 4];
    }
    return device_t::read32(offset);
}

std::uint32_t spi_controller_t::status() {
    constexpr std::uint32_t busy = 1U << 2;
    constexpr std::uint32_t done = 1U << 4;
    if (phase_ == phase_e::running) {
        if (busy_reads_left_ > 0) {
            --busy_reads_left_;
            return busy;
        }
        phase_ = phase_e::done;
        ++link_.transfers;
        link_.healthy_transfers -= link_.healthy_transfers > 0 ? 1 : 0;
        end_was_seen_ = true;
        return done;
    }
    if (faulty(spi_fault_e::busy_for_ever)) {
        return busy;
    }
    return phase_ == phase_e::done ? done : 0;
}

void spi_controller_t::write32(std::uint32_t offset, std::uint32_t value) {
    if (phase_ == phase_e::running) {
        complain("register written during a transfer, offset", offset);
    }
    if (offset >= 0x40 && offset < 0x80 && offset % 4 == 0) {
        if (value > 0xFFFF) {
            complain("transmit word of more than 16 bits", value);
        }
        const auto word = (offset - 0x40) / 4;
        transmit_[word] = static_cast<std::uint16_t>(value);
        words_loaded_ = std::max(words_loaded_, word + 1);
        return;
    }
    switch (offset) {
    case 0x00:
        if ((value & ~0x63U) != 0) {
            complain("control bits that mean nothing", value);
        }
        control_ = value;
        set_up_ |= control_written;
        return;
    case 0x04:
        if (value == 0 || value > 2047) {
            complain("rate outside 1..2047,", value);
        }
        rate_ = value;
        set_up_ |= rate_written;
        return;
    case 0x08:
        if (value > 255) {
            complain("length of more than 8 bits", value);
        }
        length_ = value & 0xFF;
        set_up_ |= length_written;
        return;
    case 0x0C:
        command(value);
        return;
    default:
        device_t::write32(offset, value);
    }
}

void spi_controller_t::command(std::uint32_t value) {
    if (value == 2) {
        set_up_ = prepared;
        phase_ = phase_e::idle;
    } else if (value == 1) {
        start();
    } else {
        complain("unknown command", value);
    }
}

void spi_controller_t::start() {
    const unsigned bits = length_ + 1;
    if (set_up_ != (prepared | control_written | rate_written | length_written)) {
        complain("start without a whole set-up, steps", set_up_);
    }
    if (words_loaded_ * 16 < bits) {
        complain("start with too few words loaded for its length in bits", bits);
    }
    set_up_ = 0;
    words_loaded_ = 0;
    end_was_seen_ = false;
    if (faulty(spi_fault_e::never_done)) {
        return;
    }
    phase_ = phase_e::running;
    busy_reads_left_ = link_.busy_reads;
    exchange(bits);
}

void spi_controller_t::exchange(unsigned bits) {
    spi_bits_t sent{bits};
    for (unsigned i = 0; i < bits; ++i) {
        sent.set(i, (transmit_[i / 16] & 0x8000U >> (i % 16)) != 0);
    }
    const auto answer = peer_.exchange(sent, clock_from(rate_), control_ & 3);
    if (answer.size() != bits) {
        complain("the device on the wires answered with a different number of bits,", answer.size());
    }
    receive_.fill(0);
    for (unsigned i = 0; i < bits; ++i) {
        if (answer[i]) {
            receive_[i / 16] |= static_cast<std::uint16_t>(0x8000U >> (i % 16));
        }
    }
}

}  // namespace sim
