#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

/// The language that in-system serial programming speaks to the keypad controller (CY8C20xx6 family): runs of
/// 22-bit frames, each an access to one register or RAM byte of the controller's processor. Register and
/// parameter names are those of the family's technical reference manual.
///
///     bits 0-2    opcode
///     bits 3-10   address, most significant bit first
///     bits 11-18  data, most significant bit first
///     bits 19-21  tail
///
/// Zeros between frames are idle clocks. Everything here is evaluated by the compiler.
namespace io::issp {

/// Up to 32 bits in sending order: the last one sent is the lowest.
struct piece_t {
    std::uint32_t bits = 0;
    unsigned length = 0;
};

/// A finished string of bits: eight per byte, the first one sent is the highest; the last byte's rest is 0.
template <std::size_t bit_count>
struct vector_t {
    static constexpr std::size_t length = bit_count;
    std::array<std::uint8_t, (bit_count + 7) / 8> bytes{};
};

enum class opcode_e : std::uint8_t { write_ram = 0b100, read_ram = 0b101, write_register = 0b110 };

enum class register_e : std::uint8_t {
    cur_pp = 0xD0,   ///< RAM page of direct accesses (bank 0)
    mvr_pp = 0xD4,   ///< RAM page a block is programmed from (bank 0)
    mvw_pp = 0xD5,   ///< RAM page a block is read to (bank 0)
    osc_cr0 = 0xE0,  ///< processor speed (bank 1)
    osc_cr2 = 0xE2,  ///< clock source (bank 1)
    a = 0xF0,        ///< accumulator: the supervisory function to call
    pc_low = 0xF4,
    pc_high = 0xF5,
    sp = 0xF6,
    cpu_f = 0xF7,    ///< flags: register bank, RAM page mode
    queue_0 = 0xF8,  ///< the three bytes of program to run
    queue_1 = 0xF9,
    queue_2 = 0xFA,
    cpu_scr1 = 0xFE,  ///< (bank 1)
    cpu_scr0 = 0xFF,
};

/// Parameters of a supervisory call, in RAM page 0. The first two hold its two result bytes afterwards.
enum class parameter_e : std::uint8_t { key1 = 0xF8, key2 = 0xF9, block_id = 0xFA, pointer = 0xFB };

enum class function_e : std::uint8_t {
    read_block = 0x01,
    erase_all = 0x05,
    table_read = 0x06,
    checksum = 0x07,
    calibrate = 0x09,
    write_and_verify_block = 0x0A,
};

enum class instruction_e : std::uint8_t { supervisory_call = 0x00, halt = 0x30, no_operation = 0x40 };

inline constexpr unsigned frame_length = 22;
inline constexpr unsigned header_length = 11;  ///< opcode and address
inline constexpr std::uint32_t write_tail = 0b111;
/// Ends a frame that starts a supervisory call: leaves SDATA low at the moment it is released, so that its
/// level cannot be taken for the controller's answer.
inline constexpr std::uint32_t call_tail = 0b110;

consteval piece_t idle_clocks(unsigned count) {
    return {0, count};
}

/// The first eleven bits of a frame.
consteval piece_t header(opcode_e opcode, std::uint8_t address) {
    return {std::uint32_t{static_cast<std::uint8_t>(opcode)} << 8 | address, header_length};
}

consteval piece_t write_frame(opcode_e opcode, std::uint8_t address, std::uint8_t data, std::uint32_t tail) {
    return {header(opcode, address).bits << 11 | std::uint32_t{data} << 3 | tail, frame_length};
}

consteval piece_t write_register(register_e address, std::uint8_t data, std::uint32_t tail = write_tail) {
    return write_frame(opcode_e::write_register, static_cast<std::uint8_t>(address), data, tail);
}

consteval piece_t write_parameter(parameter_e address, std::uint8_t data) {
    return write_frame(opcode_e::write_ram, static_cast<std::uint8_t>(address), data, write_tail);
}

consteval piece_t read_parameter(parameter_e address) {
    return header(opcode_e::read_ram, static_cast<std::uint8_t>(address));
}

template <std::size_t... lengths>
consteval auto sequence(const std::array<piece_t, lengths>&... parts) {
    std::array<piece_t, (lengths + ...)> whole{};
    std::size_t next = 0;
    const auto append = [&](std::span<const piece_t> part) {
        for (const auto& piece : part) {
            whole[next++] = piece;
        }
    };
    (append(parts), ...);
    return whole;
}

/// Turns pieces into a string of bits. Does not compile when they are not `bit_count` bits together.
template <std::size_t bit_count, std::size_t piece_count>
consteval vector_t<bit_count> vector_of(const std::array<piece_t, piece_count>& pieces) {
    vector_t<bit_count> vector;
    std::size_t position = 0;
    for (const auto& piece : pieces) {
        for (unsigned i = piece.length; i-- > 0; ++position) {
            const bool bit = i < 32 && (piece.bits >> i & 1u) != 0;
            if (bit) {
                auto& byte = vector.bytes.at(position / 8);
                byte = static_cast<std::uint8_t>(byte | 0x80u >> position % 8);
            }
        }
    }
    if (position != bit_count) {
        throw "the pieces do not add up to the stated length";
    }
    return vector;
}

template <std::size_t bit_count, typename... pieces_t>
consteval vector_t<bit_count> vector_of(pieces_t... pieces) {
    return vector_of<bit_count>(std::array<piece_t, sizeof...(pieces)>{pieces...});
}

}  // namespace io::issp
