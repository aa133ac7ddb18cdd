#include "io/keypad/issp.h"

#include <algorithm>
#include <chrono>
#include <thread>

namespace io {

namespace {

using namespace std::chrono_literals;

constexpr auto reset_pulse = 263us;
constexpr auto poll_interval = 1ms;
constexpr unsigned poll_limit = 200;

// Bytes of the RAM buffer are addressed by the top seven bits of a byte.
constexpr unsigned address_bits = 7;
constexpr unsigned address_step = 2;

template <std::size_t bit_count>
constexpr std::uint8_t first_byte(const issp::vector_t<bit_count>& vector) {
    static_assert(bit_count <= 8);
    return vector.bytes.front();
}

}  // namespace

void issp_t::SendByte(std::uint8_t byte, unsigned n) {
    for (unsigned i = 0; i < std::min(n, 8u); ++i) {
        if ((byte & 0x80u >> i) != 0) {
            lines_.sdata_high();
        } else {
            lines_.sdata_low();
        }
        lines_.sclk_high();
        lines_.sclk_low();
    }
}

void issp_t::SendVector(std::span<const std::uint8_t> bits, std::size_t n) {
    lines_.sdata_drive_on();
    auto left = std::min(n, 8 * bits.size());
    for (const auto byte : bits) {
        const auto count = std::min<std::size_t>(left, 8);
        SendByte(byte, static_cast<unsigned>(count));
        left -= count;
    }
    lines_.sdata_released();
}

void issp_t::RunClock(unsigned n) {
    for (unsigned i = 0; i < n; ++i) {
        lines_.sclk_low();
        lines_.sclk_high();
    }
}

bool issp_t::bReceiveBit() {
    RunClock(1);
    return lines_.sdata();
}

std::uint8_t issp_t::bReceiveByte() {
    unsigned byte = 0;
    for (unsigned i = 0; i < 8; ++i) {
        byte = byte << 1 | (bReceiveBit() ? 1u : 0u);
    }
    return static_cast<std::uint8_t>(byte);
}

int issp_t::fDetectHiLoTransition() {
    // The level is looked at right after SCLK fell: the pulse of a quick operation ends with the next clocks.
    unsigned polls = poll_limit;
    for (lines_.sclk_low(); !lines_.sdata(); lines_.sclk_low()) {
        lines_.sclk_high();
        if (polls-- == 0) {
            return -1;
        }
    }
    polls = poll_limit;
    while (lines_.sdata()) {
        std::this_thread::sleep_for(poll_interval);
        if (polls-- == 0) {
            return -1;
        }
    }
    return 0;
}

void issp_t::ReStartTarget() {
    lines_.xres_asserted();
    std::this_thread::sleep_for(reset_pulse);
    lines_.xres_released();
}

issp_result_e issp_t::fXRESInitializeTargetForISSP() {
    lines_.sdata_released();
    lines_.sclk_drive_on();
    lines_.sclk_low();
    lines_.xres_drive_on();
    // The key at the beginning of the vector must follow the pulse within about a millisecond: nothing that
    // could take time may stand between the two, a log line included.
    ReStartTarget();
    SendVector(issp::initialisation);
    return operation_finished() ? issp_result_e::success : issp_result_e::no_entry;
}

issp_result_e issp_t::fVerifySiliconID() {
    SendVector(issp::silicon_id_setup);
    if (!operation_finished()) {
        return issp_result_e::wrong_id;
    }
    SendVector(issp::tsync_enable);
    SendVector(issp::read_result_first);
    const auto first = read_cycle();
    SendVector(issp::read_result_second);
    const auto second = read_cycle();
    SendVector(issp::read_result_end);
    SendVector(issp::tsync_disable);
    return std::array{first, second} == silicon_id ? issp_result_e::success : issp_result_e::wrong_id;
}

issp_result_e issp_t::fAccTargetBankChecksum(std::uint16_t& checksum) {
    SendVector(issp::checksum_setup);
    if (!operation_finished()) {
        return issp_result_e::checksum_failed;
    }
    SendVector(issp::tsync_enable);
    SendVector(issp::read_checksum_high);
    const unsigned high = read_cycle();
    SendVector(issp::read_checksum_low);
    const unsigned low = read_cycle();
    SendVector(issp::read_end);
    SendVector(issp::tsync_disable);
    checksum = static_cast<std::uint16_t>(high << 8 | low);
    return issp_result_e::success;
}

issp_result_e issp_t::fEraseTarget() {
    SendVector(issp::erase);
    return operation_finished() ? issp_result_e::success : issp_result_e::erase_failed;
}

void issp_t::set_block(std::span<const std::uint8_t, keypad_block_size> bytes) {
    std::ranges::copy(bytes, block_.begin());
}

std::uint16_t issp_t::LoadTarget() {
    SendVector(issp::tsync_enable);
    SendVector(issp::read_write_setup);
    lines_.sdata_drive_on();
    std::uint16_t sum = 0;
    unsigned address = 0;
    for (const auto byte : block_) {
        SendByte(first_byte(issp::write_byte), issp::write_byte.length);
        SendByte(static_cast<std::uint8_t>(address), address_bits);
        SendByte(byte, 8);
        SendByte(first_byte(issp::write_end), issp::write_end.length);
        address += address_step;
        sum = static_cast<std::uint16_t>(sum + byte);
    }
    return sum;
}

issp_result_e issp_t::fProgramTargetBlock(unsigned block) {
    SendVector(issp::tsync_enable);
    send_block_number(block);
    SendVector(issp::tsync_disable);
    SendVector(issp::program_block);
    return operation_finished() ? issp_result_e::success : issp_result_e::block_failed;
}

issp_result_e issp_t::fReadStatus() {
    SendVector(issp::tsync_enable);
    SendVector(issp::read_result_first);
    const auto status = read_cycle();
    SendVector(issp::read_result_second);
    read_cycle();  // holds nothing defined
    SendVector(issp::read_result_end);
    SendVector(issp::tsync_disable);
    return status == 0 ? issp_result_e::success : issp_result_e::bad_status;
}

issp_result_e issp_t::fVerifySetup(unsigned block) {
    SendVector(issp::read_write_setup);
    SendVector(issp::tsync_enable);
    send_block_number(block);
    SendVector(issp::tsync_disable);
    SendVector(issp::verify_setup);
    return operation_finished() ? issp_result_e::success : issp_result_e::block_failed;
}

issp_result_e issp_t::fReadByteLoop() {
    // Once more, although `fVerifySetup` began with it: everything since has selected RAM page 0.
    SendVector(issp::read_write_setup);
    unsigned address = 0;
    for (const auto expected : block_) {
        lines_.sdata_drive_on();
        SendByte(first_byte(issp::read_byte), issp::read_byte.length);
        SendByte(static_cast<std::uint8_t>(address), address_bits);
        RunClock(2);
        lines_.sdata_released();
        const auto byte = bReceiveByte();
        RunClock(1);
        lines_.sdata_drive_on();
        SendByte(first_byte(issp::read_end), issp::read_end.length);
        if (byte != expected) {
            return issp_result_e::block_failed;
        }
        address += address_step;
    }
    SendVector(issp::tsync_disable);
    return issp_result_e::success;
}

bool issp_t::operation_finished() {
    if (fDetectHiLoTransition() != 0) {
        return false;
    }
    SendVector(issp::wait_and_poll_end);
    return true;
}

void issp_t::send_block_number(unsigned block) {
    SendVector(issp::set_block_number);
    lines_.sdata_drive_on();
    SendByte(static_cast<std::uint8_t>(block), 8);
    SendByte(first_byte(issp::write_end), issp::write_end.length);
}

std::uint8_t issp_t::read_cycle() {
    RunClock(2);
    const auto byte = bReceiveByte();
    RunClock(1);
    return byte;
}

}  // namespace io
