#pragma once

#include "io/keypad/issp_frames.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

/// The chip maker's programming vectors for the CY8C20xx6 family, as published for its host programmers in
/// 2006-2015, written down as the frames they are made of. The table at the end lists them all.
namespace io::issp {

namespace parts {

template <typename... pieces_t>
consteval auto frames(pieces_t... pieces) {
    return std::array<piece_t, sizeof...(pieces)>{pieces...};
}

// CPU_F
inline constexpr std::uint8_t bank_0 = 0x00;
inline constexpr std::uint8_t bank_1 = 0x10;
inline constexpr std::uint8_t bank_0_paged_ram = 0x80;  // RAM accesses go to the page in CUR_PP

inline constexpr auto select_bank_0 = frames(write_register(register_e::cpu_f, bank_0));
inline constexpr auto select_bank_1 = frames(write_register(register_e::cpu_f, bank_1));

// TSYNC, the clock that keeps the controller in step with SCLK: on while parameters are written, results read
// and a block is loaded; off while a call runs, and while a block is read back from RAM, which works without
// it.
inline constexpr std::uint8_t synchronised = 0x04;    // CPU_SCR1
inline constexpr std::uint8_t external_clock = 0x04;  // OSC_CR2
inline constexpr auto full_speed = write_register(register_e::osc_cr0, 0x03);
inline constexpr auto sync_on = frames(write_register(register_e::cpu_scr1, synchronised),
                                       write_register(register_e::osc_cr2, external_clock), full_speed);
inline constexpr auto sync_off =
    frames(write_register(register_e::cpu_scr1, 0), write_register(register_e::osc_cr2, 0), full_speed);

inline constexpr std::uint8_t ram_buffer = 0x80;          // where a page's 128-byte buffer begins
inline constexpr std::uint8_t calibration_buffer = 0x10;  // in page 0
inline constexpr std::uint8_t buffer_page = 1;

/// What the supervisory code wants to see before it does anything: 0x3A and the stack pointer plus 3.
consteval auto keys(std::uint8_t stack_pointer) {
    return frames(write_parameter(parameter_e::key1, 0x3A),
                  write_parameter(parameter_e::key2, static_cast<std::uint8_t>(stack_pointer + 3)));
}

consteval auto accumulator(function_e function) {
    return frames(write_register(register_e::a, static_cast<std::uint8_t>(function)));
}

consteval auto program_counter_and_stack(std::uint8_t stack_pointer) {
    return frames(write_register(register_e::pc_low, 0x03), write_register(register_e::pc_high, 0),
                  write_register(register_e::sp, stack_pointer));
}

/// Loads the three instructions and lets the processor run them; the last frame before the answer.
consteval auto run(instruction_e first, instruction_e second, instruction_e third) {
    return frames(write_register(register_e::queue_0, static_cast<std::uint8_t>(first)),
                  write_register(register_e::queue_1, static_cast<std::uint8_t>(second)),
                  write_register(register_e::queue_2, static_cast<std::uint8_t>(third)),
                  write_register(register_e::cpu_scr0, 0x12, call_tail));
}

consteval auto call(function_e function) {
    return sequence(program_counter_and_stack(0), accumulator(function),
                    run(instruction_e::supervisory_call, instruction_e::no_operation, instruction_e::halt));
}

/// A call whose one parameter goes to RAM while TSYNC is on.
consteval auto call_with(parameter_e parameter, std::uint8_t value, function_e function) {
    return sequence(select_bank_1, sync_on, keys(0), frames(write_parameter(parameter, value)), sync_off,
                    select_bank_0, call(function));
}

/// A call that moves a block between flash and the buffer in RAM page 1.
consteval auto block_call(register_e page_register, function_e function) {
    return sequence(select_bank_1, sync_on, keys(0),
                    frames(write_parameter(parameter_e::pointer, ram_buffer)), sync_off, select_bank_0,
                    frames(write_register(page_register, buffer_page)), call(function));
}

// The first eight bits after the reset pulse open the programming mode; the rest of a frame and the pause
// that follow give the controller the time to get there.
inline constexpr auto entry_key = frames(piece_t{0xCA, 8}, idle_clocks(14), idle_clocks(110));

inline constexpr std::uint8_t erase_stack = 0x08;

}  // namespace parts

inline constexpr auto initialisation = vector_of<594>(sequence(
    parts::entry_key, parts::select_bank_1, parts::sync_on, parts::select_bank_0, parts::keys(0),
    parts::frames(write_parameter(parameter_e::pointer, parts::calibration_buffer)), parts::select_bank_1,
    parts::sync_off, parts::select_bank_0, parts::call(function_e::calibrate)));

inline constexpr auto silicon_id_setup =
    vector_of<418>(parts::call_with(parameter_e::block_id, 0, function_e::table_read));

/// Block 0 stands for all of them.
inline constexpr auto checksum_setup =
    vector_of<418>(parts::call_with(parameter_e::block_id, 0, function_e::checksum));

inline constexpr auto erase = vector_of<396>(
    sequence(parts::select_bank_1, parts::sync_on, parts::keys(parts::erase_stack), parts::sync_off,
             parts::select_bank_0, parts::accumulator(function_e::erase_all),
             parts::program_counter_and_stack(parts::erase_stack),
             parts::run(instruction_e::supervisory_call, instruction_e::halt, instruction_e::no_operation)));

inline constexpr auto program_block =
    vector_of<440>(parts::block_call(register_e::mvr_pp, function_e::write_and_verify_block));

inline constexpr auto verify_setup =
    vector_of<440>(parts::block_call(register_e::mvw_pp, function_e::read_block));

/// Both end with RAM page 0 selected.
inline constexpr auto tsync_enable =
    vector_of<110>(sequence(parts::select_bank_1, parts::sync_on, parts::select_bank_0));
inline constexpr auto tsync_disable =
    vector_of<110>(sequence(parts::select_bank_1,
                            parts::frames(write_register(register_e::osc_cr2, 0),
                                          write_register(register_e::cpu_scr1, 0), parts::full_speed),
                            parts::select_bank_0));

/// Ends with RAM page 1 selected, where the block buffer is.
inline constexpr auto read_write_setup =
    vector_of<66>(write_register(register_e::cpu_f, parts::bank_0_paged_ram),
                  write_register(register_e::a, 0), write_register(register_e::cur_pp, parts::buffer_page));

/// The block's number and `write_end` follow.
inline constexpr auto set_block_number =
    vector_of<33>(write_register(register_e::cpu_f, parts::bank_0),
                  header(opcode_e::write_ram, static_cast<std::uint8_t>(parameter_e::block_id)));

inline constexpr auto wait_and_poll_end = vector_of<40>(idle_clocks(40));

/// One byte of the RAM buffer: the opcode and the address's top bit; seven address bits follow, then the data
/// and `write_end`, or the read cycle and `read_end`.
inline constexpr auto write_byte = vector_of<4>(piece_t{0b1001, 4});
inline constexpr auto read_byte = vector_of<4>(piece_t{0b1011, 4});
inline constexpr auto write_end = vector_of<3>(piece_t{write_tail, 3});
inline constexpr auto read_end = vector_of<1>(piece_t{1, 1});

/// The two bytes that a call left in KEY1 and KEY2. The second string begins with the bit that closes the
/// first read. The checksum's high byte is in KEY2: its reads go the other way round.
inline constexpr auto read_result_first = vector_of<11>(read_parameter(parameter_e::key1));
inline constexpr auto read_result_second = vector_of<12>(piece_t{1, 1}, read_parameter(parameter_e::key2));
inline constexpr auto read_result_end = vector_of<1>(piece_t{0, 1});
inline constexpr auto read_checksum_high = vector_of<11>(read_parameter(parameter_e::key2));
inline constexpr auto read_checksum_low = vector_of<12>(piece_t{1, 1}, read_parameter(parameter_e::key1));

struct table_entry_t {
    std::string_view role;
    std::size_t length;  ///< bits
    std::span<const std::uint8_t> bytes;
};

template <std::size_t bit_count>
consteval table_entry_t entry(std::string_view role, const vector_t<bit_count>& vector) {
    return {role, bit_count, vector.bytes};
}

inline constexpr std::array table{
    entry("initialisation: opens the programming mode after the reset pulse", initialisation),
    entry("wait-and-poll end: after every wait for the controller", wait_and_poll_end),
    entry("silicon ID setup: fetches the ID", silicon_id_setup),
    entry("erase: clears the whole flash", erase),
    entry("program block: writes the block whose number was set", program_block),
    entry("verify setup: reads the block whose number was set into RAM", verify_setup),
    entry("checksum setup: sums the flash", checksum_setup),
    entry("TSYNC enable: opens a phase of accesses", tsync_enable),
    entry("TSYNC disable: closes it", tsync_disable),
    entry("read-write setup: selects the buffer's RAM page", read_write_setup),
    entry("set block number: for program block and verify setup", set_block_number),
    entry("write byte: beginning", write_byte),
    entry("write byte, set block number: end", write_end),
    entry("read byte: beginning", read_byte),
    entry("read byte, checksum: end", read_end),
    entry("read ID or status: first byte", read_result_first),
    entry("read ID or status: second byte", read_result_second),
    entry("read ID or status: end", read_result_end),
    entry("read checksum: high byte", read_checksum_high),
    entry("read checksum: low byte", read_checksum_low),
};

}  // namespace io::issp
