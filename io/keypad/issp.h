#pragma once

#include "io/keypad/issp_vectors.h"
#include "io/keypad/keypad_image.h"
#include "io/keypad/keypad_lines.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace io {

/// What a programming step tells: the number of the step that failed.
enum class issp_result_e : std::uint8_t {
    success = 0,
    no_entry = 1,  ///< the controller did not answer the initialisation vector
    wrong_id = 2,  ///< no answer, or a controller of another type
    erase_failed = 3,
    block_failed = 4,  ///< no answer to a block command, or a byte read back differs
    checksum_failed = 5,
    bad_status = 7,  ///< the last command's status byte is not 0
};

/// In-system serial programming of the keypad controller on its three lines: the primitives, and the steps
/// made of them, named as in the chip maker's host routines. The controller takes a bit at the falling edge
/// of SCLK; SCLK idles low.
///
/// Every step blocks: 800 to 9400 register accesses, at most about 200 ms more while the controller works,
/// and 263 us of reset pulse. Needs programming switched on in the line register. Nothing else may use the
/// register or the controller's SPI link meanwhile.
class issp_t {
  public:
    static constexpr std::array<std::uint8_t, 2> silicon_id{0x00, 0xBA};

    explicit issp_t(keypad_lines_t& lines) : lines_{lines} {}

    /// Sends the top `n` bits (up to 8), most significant first: SDATA, SCLK high, SCLK low for each.
    void SendByte(std::uint8_t byte, unsigned n);
    /// Drives SDATA, sends the first `n` bits of a bit string and releases SDATA: whoever sends on with
    /// `SendByte` has to drive it again.
    void SendVector(std::span<const std::uint8_t> bits, std::size_t n);
    template <std::size_t bit_count>
    void SendVector(const issp::vector_t<bit_count>& vector) {
        SendVector(vector.bytes, bit_count);
    }
    /// `n` times SCLK low, then high: leaves SCLK high.
    void RunClock(unsigned n);
    [[nodiscard]] bool bReceiveBit();
    [[nodiscard]] std::uint8_t bReceiveByte();
    /// Waits until SDATA has gone high (at most 201 clocks) and low again (about 200 ms at most).
    /// @return 0, or -1 when either did not come.
    [[nodiscard]] int fDetectHiLoTransition();
    /// Resets the controller, which starts its own firmware then.
    void ReStartTarget();

    /// Resets the controller and opens its programming mode.
    [[nodiscard]] issp_result_e fXRESInitializeTargetForISSP();
    [[nodiscard]] issp_result_e fVerifySiliconID();
    /// @param checksum  sum of all flash bytes modulo 65536; kept on failure.
    [[nodiscard]] issp_result_e fAccTargetBankChecksum(std::uint16_t& checksum);
    [[nodiscard]] issp_result_e fEraseTarget();

    /// The block that the next steps load into the controller or compare with what it holds.
    void set_block(std::span<const std::uint8_t, keypad_block_size> bytes);
    /// Writes the block to the controller's RAM. Leaves the phase of accesses open; the next step opens its
    /// own.
    /// @return the sum of the bytes written.
    std::uint16_t LoadTarget();
    /// @param block  0..63
    [[nodiscard]] issp_result_e fProgramTargetBlock(unsigned block);
    [[nodiscard]] issp_result_e fReadStatus();
    /// Makes the controller read a block of its flash into its RAM.
    [[nodiscard]] issp_result_e fVerifySetup(unsigned block);
    /// Compares the controller's RAM with the block, up to the first difference.
    [[nodiscard]] issp_result_e fReadByteLoop();

  private:
    bool operation_finished();
    void send_block_number(unsigned block);
    std::uint8_t read_cycle();

    keypad_lines_t& lines_;
    std::array<std::uint8_t, keypad_block_size> block_{};
};

}  // namespace io
