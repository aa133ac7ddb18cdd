#pragma once

#include "io/register_field.h"

#include <cstddef>

/// Registers of an SPI controller in the FPGA: byte offsets from the controller's block, 32-bit words.
namespace io::spi_regs {

/// Control when written, status when read.
inline constexpr std::size_t control = 0x00;
inline constexpr field_t mode{0, 1};           // w: clock polarity and phase
inline constexpr field_t option_a{5, 5};       // w
inline constexpr field_t option_b{6, 6};       // w
inline constexpr field_t busy{2, 2};           // r
inline constexpr field_t transfer_done{4, 4};  // r
static_assert(disjoint(mode, option_a, option_b));
static_assert(disjoint(busy, transfer_done));

/// w: bit rate in steps of about 16.3 kHz.
inline constexpr std::size_t rate = 0x04;
inline constexpr field_t rate_value{0, 10};

/// w: bits of the transfer, less one.
inline constexpr std::size_t length = 0x08;
inline constexpr field_t length_value{0, 7};

/// w: `prepare` before a transfer is set up, `start` once it is.
inline constexpr std::size_t command = 0x0C;
inline constexpr std::uint32_t start = 1;
inline constexpr std::uint32_t prepare = 2;

/// Data words in the low 16 bits, first word first, left-justified: a last word that is not full holds its
/// bits at the top.
inline constexpr std::size_t data_words = 16;
inline constexpr std::size_t transmit = 0x40;  // w
inline constexpr std::size_t receive = 0x80;   // r
inline constexpr std::size_t data_stride = 4;

}  // namespace io::spi_regs
