#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace sim {

/// Everything that is to know about an LCD and its controller; a fresh one stands for a controller after its
/// reset. Plain, so that it can lie in shared memory.
struct glass_state_t {
    static constexpr unsigned width = 240;
    static constexpr unsigned height = 64;
    static constexpr unsigned memory_columns = 85;  ///< of three pixels
    static constexpr unsigned memory_lines = 160;

    // The interface: what the next byte will mean
    std::uint8_t command_table = 0;  ///< 0 or 1
    std::uint8_t command = 0;
    std::uint8_t parameters_wanted = 0;
    std::uint8_t parameters_taken = 0;
    std::uint8_t parameters[16] = {};
    bool in_command = false;  ///< data now belong to a command that is known
    bool skipping = false;    ///< data now belong to a command that is not
    bool writing = false;     ///< data now go to memory
    std::uint8_t group[3] = {};
    std::uint8_t group_taken = 0;

    // Addressing
    std::uint8_t first_column = 0;
    std::uint8_t last_column = memory_columns - 1;
    std::uint8_t first_line = 0;
    std::uint8_t last_line = memory_lines - 1;
    std::uint8_t column = 0;
    std::uint8_t line = 0;
    bool lines_mirrored = false;
    bool columns_mirrored = false;
    bool lines_first = false;
    bool group_reversed = false;
    std::uint8_t bytes_per_group = 2;

    // Power and picture
    bool display_on = false;
    bool asleep = true;
    bool oscillator_on = false;
    bool inverse = false;
    std::uint8_t power = 0;             ///< bit 0 reference, 1 follower, 3 booster
    std::int64_t booster_since_us = 0;  ///< on the monotonic clock
    std::int64_t trim_since_us = 0;     ///< since when the trim memory does what it was told last
    std::uint16_t volume = 0x101;
    std::uint8_t line_count = 160;

    // Settings that change nothing in the picture; as they were written
    std::uint8_t common_scan = 0;
    std::uint8_t display_control[3] = {};
    std::uint8_t grey_tables[2][16] = {};
    std::uint8_t analogue[3] = {};

    // The account
    std::uint32_t commands = 0;
    std::uint32_t groups_written = 0;  ///< of three pixels
    std::uint32_t faults = 0;          ///< bytes that were not understood
    std::uint32_t cut_short = 0;       ///< commands and pixels of which a part never came

    std::uint8_t memory[memory_lines][memory_columns][3] = {};

    /// Whether anything is to be seen at all.
    [[nodiscard]] bool lit() const { return display_on && !asleep && oscillator_on && power == 0x0B; }
    /// Drive voltage of the glass, from which its contrast comes.
    [[nodiscard]] double volts() const { return 3.6 + 0.04 * volume; }
};

/// What an eye sees: grey levels, 0 dark to 31 light, row by row; all light while the glass is blank.
using glass_picture_t = std::array<std::array<std::uint8_t, glass_state_t::width>, glass_state_t::height>;

[[nodiscard]] glass_picture_t picture_of(const glass_state_t& state);

/// The LCD controller: takes command and data bytes and changes the state by them. Data that no command asked
/// for, commands that do not exist in the current table and windows outside memory are counted and reported,
/// and so is whoever does not wait: for the booster before it has to feed anything, for the trim memory
/// between its steps.
class glass_t {
  public:
    explicit glass_t(glass_state_t& state) : state_{state} {}

    /// A byte from the bus.
    void take(bool is_data, std::uint8_t byte) { is_data ? data(byte) : command(byte); }
    /// The reset line: settings return to their defaults, memory stays.
    void reset();

    [[nodiscard]] glass_state_t& state() { return state_; }

  private:
    void command(std::uint8_t code);
    void data(std::uint8_t byte);
    void run();
    void run_layout();
    void run_extended();
    void set_window(std::uint8_t& first, std::uint8_t& last, unsigned limit);
    void begin_writing();
    void switch_power(std::uint8_t wanted);
    void run_trim_memory();
    void store_group();
    void advance();
    void fault(const std::string& what, std::uint8_t byte);

    glass_state_t& state_;
};

}  // namespace sim
