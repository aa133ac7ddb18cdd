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

void spi_violation(const char* what, std::uint32_t value) {
    report_violation(std::string{"SPI controller: "} + what + ' ' + std::to_string(value));
}

}  // namespace

std::uint32_t spi_controller_t::read32(std::uint32_t offset) {
    if (offset == 0) {
        return status();
    }
    if (offset >= 0x80 && offset < 0xC0 && offset % 4 == 0) {
        if (!held_.end_was_seen && !faulty(spi_fault_e::never_done)) {
            spi_violation("data read before the transfer was done, word", (offset - 0x80) / 4);
        }
        return held_.receive[(offset - 0x80) / 4];
    }
    return device_t::read32(offset);
}

std::vector<std::uint32_t> spi_controller_t::readable() const {
    std::vector<std::uint32_t> offsets{0};
    for (std::uint32_t i = 0; i < held_.receive.size(); ++i) {
        offsets.push_back(0x80 + 4 * i);
    }
    return offsets;
}

std::uint32_t spi_controller_t::status() {
    constexpr std::uint32_t busy = 1U << 2;
    constexpr std::uint32_t done = 1U << 4;
    if (held_.phase == phase_e::running) {
        // A process that is gone has left a transfer behind that has long since ended.
        if (held_.busy_reads_left > 0 && held_.master == process_) {
            --held_.busy_reads_left;
            return busy;
        }
        held_.phase = phase_e::done;
        ++link_.transfers;
        link_.healthy_transfers -= link_.healthy_transfers > 0 ? 1 : 0;
        held_.end_was_seen = true;
        return done;
    }
    if (faulty(spi_fault_e::busy_for_ever)) {
        return busy;
    }
    return held_.phase == phase_e::done ? done : 0;
}

void spi_controller_t::write32(std::uint32_t offset, std::uint32_t value) {
    if (held_.phase == phase_e::running && held_.master == process_) {
        spi_violation("register written during a transfer, offset", offset);
    }
    if (offset >= 0x40 && offset < 0x80 && offset % 4 == 0) {
        if (value > 0xFFFF) {
            spi_violation("transmit word of more than 16 bits", value);
        }
        const auto word = (offset - 0x40) / 4;
        held_.transmit[word] = static_cast<std::uint16_t>(value);
        held_.words_loaded = std::max(held_.words_loaded, word + 1);
        return;
    }
    switch (offset) {
    case 0x00:
        if ((value & ~0x63U) != 0) {
            spi_violation("control bits that mean nothing", value);
        }
        held_.control = value;
        held_.set_up |= control_written;
        return;
    case 0x04:
        if (value == 0 || value > 2047) {
            spi_violation("rate outside 1..2047,", value);
        }
        held_.rate = value;
        held_.set_up |= rate_written;
        return;
    case 0x08:
        if (value > 255) {
            spi_violation("length of more than 8 bits", value);
        }
        held_.length = value & 0xFF;
        held_.set_up |= length_written;
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
        held_.set_up = prepared;
        held_.phase = phase_e::idle;
    } else if (value == 1) {
        start();
    } else {
        spi_violation("unknown command", value);
    }
}

void spi_controller_t::start() {
    const unsigned bits = held_.length + 1;
    if (held_.set_up != (prepared | control_written | rate_written | length_written)) {
        spi_violation("start without a whole set-up, steps", held_.set_up);
    }
    if (held_.words_loaded * 16 < bits) {
        spi_violation("start with too few words loaded for its length in bits", bits);
    }
    held_.set_up = 0;
    held_.words_loaded = 0;
    held_.end_was_seen = false;
    if (faulty(spi_fault_e::never_done)) {
        return;
    }
    held_.phase = phase_e::running;
    held_.master = process_;
    held_.busy_reads_left = link_.busy_reads;
    exchange(bits);
}

void spi_controller_t::exchange(unsigned bits) {
    spi_bits_t sent{bits};
    for (unsigned i = 0; i < bits; ++i) {
        sent.set(i, (held_.transmit[i / 16] & 0x8000U >> (i % 16)) != 0);
    }
    const auto answer = peer_.exchange(sent, clock_from(held_.rate), held_.control & 3);
    if (answer.size() != bits) {
        spi_violation("the device on the wires answered with a different number of bits,", answer.size());
    }
    held_.receive.fill(0);
    for (unsigned i = 0; i < bits; ++i) {
        if (answer[i]) {
            held_.receive[i / 16] |= static_cast<std::uint16_t>(0x8000U >> (i % 16));
        }
    }
}

}  // namespace sim
