#include "io/spi.h"

#include "io/mmio.h"
#include "io/refusal.h"
#include "io/spi_regs.h"

namespace io {

namespace {

constexpr int poll_budget = 100'000;

// In 1/128 of 2.083333 MHz. The product wraps above 33.5 MHz, beyond what the controller is asked for.
constexpr std::uint32_t rate_value(std::uint32_t bit_rate) {
    return (bit_rate * 128) / 2'083'333;
}

bool wait_until_done(const std::byte* status) {
    for (int poll = 0; poll < poll_budget; ++poll) {
        if (spi_regs::transfer_done.get(mmio::read32(status)) != 0) {
            return true;
        }
    }
    return false;
}

}  // namespace

bool spi_t::set_base(std::byte* registers) {
    if (registers == nullptr) {
        return refuse("invalid SPI controller base address");
    }
    registers_ = registers;
    return true;
}

bool spi_t::transfer(bool read) {
    if (registers_ == nullptr) {
        return refuse("invalid SPI controller base address");
    }
    if (spi_regs::busy.get(mmio::read32(registers_ + spi_regs::control)) != 0) {
        return refuse("SPI controller busy");
    }
    // A longer transfer runs with the low 8 bits of its length; there are never more than sixteen words.
    const auto words = bit_count >= 16 * spi_regs::data_words
                           ? spi_regs::data_words
                           : static_cast<std::size_t>((bit_count + 15) / 16);
    for (std::size_t i = 0; i < words; ++i) {
        mmio::write32(registers_ + spi_regs::transmit + spi_regs::data_stride * i, transmit[i]);
    }
    if (mode > 3) {
        return refuse("invalid SPI mode");
    }
    const auto value = rate_value(bit_rate);
    if (value == 0 || value > spi_regs::rate_value.mask()) {
        return refuse("invalid SPI bit rate");
    }
    if (bit_count == 0) {
        return refuse("invalid SPI bit size");
    }
    const auto control = spi_regs::option_b.set(spi_regs::option_a.set(mode, option_a), option_b);
    mmio::write32(registers_ + spi_regs::command, spi_regs::prepare);
    mmio::write32(registers_ + spi_regs::control, control);
    mmio::write32(registers_ + spi_regs::rate, value);
    mmio::write32(registers_ + spi_regs::length, spi_regs::length_value.set(0, bit_count - 1));
    mmio::write32(registers_ + spi_regs::command, spi_regs::start);
    if (!wait_until_done(registers_ + spi_regs::control)) {
        return refuse("SPI transfer timed out");
    }
    if (read) {
        for (std::size_t i = 0; i < words; ++i) {
            receive[i] = static_cast<std::uint16_t>(
                mmio::read32(registers_ + spi_regs::receive + spi_regs::data_stride * i));
        }
    }
    return true;
}

}  // namespace io
