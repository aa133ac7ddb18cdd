#include "sim/board/glass.h"

#include "sim/board/clock.h"
#include "sim/root/violations.h"

#include <algorithm>
#include <cstdio>
#include <optional>
#include <span>

namespace sim {

namespace {

struct command_shape_t {
    std::uint8_t code;
    std::uint8_t parameters;
};

// The two command tables: code and number of parameters. Reading back, partial display, scrolling and
// read-modify-write are not modelled, so that a driver which starts to use them is noticed.
constexpr command_shape_t basic_commands[] = {
    {0x07, 1}, {0x15, 2}, {0x20, 1}, {0x25, 0}, {0x30, 0}, {0x31, 0}, {0x5C, 0}, {0x75, 2},
    {0x81, 2}, {0x94, 0}, {0x95, 0}, {0xA6, 0}, {0xA7, 0}, {0xAE, 0}, {0xAF, 0}, {0xBB, 1},
    {0xBC, 3}, {0xCA, 3}, {0xD1, 0}, {0xD2, 0}, {0xD6, 0}, {0xD7, 0},
};
constexpr command_shape_t extended_commands[] = {
    {0x20, 16}, {0x21, 16}, {0x30, 0}, {0x31, 0}, {0x32, 3},
    {0x34, 0},  {0xCC, 0},  {0xCD, 1}, {0xFC, 0}, {0xFD, 0},
};

std::optional<std::uint8_t> parameters_of(std::span<const command_shape_t> table, std::uint8_t code) {
    const auto found = std::ranges::find(table, code, &command_shape_t::code);
    return found == table.end() ? std::nullopt : std::optional{found->parameters};
}

}  // namespace

void glass_t::reset() {
    glass_state_t fresh;
    std::copy_n(&state_.memory[0][0][0], sizeof fresh.memory, &fresh.memory[0][0][0]);
    fresh.commands = state_.commands;
    fresh.groups_written = state_.groups_written;
    fresh.faults = state_.faults;
    fresh.cut_short = state_.cut_short;
    state_ = fresh;
}

void glass_t::fault(const std::string& what, std::uint8_t byte) {
    char text[64];
    std::snprintf(text, sizeof text, ", byte 0x%02x (command 0x%02x of table %u)", byte, state_.command,
                  unsigned{state_.command_table});
    ++state_.faults;
    report_violation("LCD controller: " + what + text);
}

void glass_t::command(std::uint8_t code) {
    auto& s = state_;
    const bool lacks_parameters = s.in_command && s.parameters_taken < s.parameters_wanted;
    if (lacks_parameters || (s.writing && s.group_taken > 0)) {
        ++s.cut_short;
    }
    ++s.commands;
    s.writing = false;
    s.group_taken = 0;
    s.parameters_taken = 0;
    const auto wanted =
        s.command_table == 0 ? parameters_of(basic_commands, code) : parameters_of(extended_commands, code);
    s.in_command = wanted.has_value();
    s.skipping = !s.in_command;
    s.command = code;
    if (!wanted) {
        fault("unknown command", code);
        return;
    }
    s.parameters_wanted = *wanted;
    if (*wanted == 0) {
        run();
    }
}

void glass_t::data(std::uint8_t byte) {
    auto& s = state_;
    if (s.writing) {
        s.group[s.group_taken++] = byte;
        if (s.group_taken == s.bytes_per_group) {
            s.group_taken = 0;
            store_group();
            advance();
        }
    } else if (s.in_command && s.parameters_taken < s.parameters_wanted) {
        s.parameters[s.parameters_taken++] = byte;
        if (s.parameters_taken == s.parameters_wanted) {
            run();
        }
    } else {
        fault(s.skipping ? "data of an unknown command" : "data that no command asked for", byte);
    }
}

void glass_t::run() {
    auto& s = state_;
    const auto& p = s.parameters;
    if (s.command == 0x30 || s.command == 0x31) {
        s.command_table = s.command == 0x31 ? 1 : 0;
        return;
    }
    if (s.command_table == 1) {
        run_extended();
        return;
    }
    switch (s.command) {
    case 0x15:
        set_window(s.first_column, s.last_column, glass_state_t::memory_columns);
        break;
    case 0x75:
        set_window(s.first_line, s.last_line, glass_state_t::memory_lines);
        break;
    case 0x5C:
        begin_writing();
        break;
    case 0x20:
        switch_power(p[0] & 0x0F);
        break;
    case 0x81:
        s.volume = static_cast<std::uint16_t>((p[0] & 0x3F) | (p[1] & 0x07) << 6);
        break;
    case 0xD6:
    case 0xD7:
        s.volume = static_cast<std::uint16_t>((s.volume + (s.command == 0xD6 ? 1 : -1)) & 0x1FF);
        break;
    case 0x94:
    case 0x95:
        s.asleep = s.command == 0x95;
        break;
    case 0xD1:
    case 0xD2:
        s.oscillator_on = s.command == 0xD1;
        break;
    case 0xA6:
    case 0xA7:
        s.inverse = s.command == 0xA7;
        break;
    case 0xAE:
    case 0xAF:
        s.display_on = s.command == 0xAF;
        break;
    default:
        run_layout();
        break;
    }
}

// How memory comes to lie on the glass.
void glass_t::run_layout() {
    auto& s = state_;
    const auto& p = s.parameters;
    switch (s.command) {
    case 0xBB:
        s.common_scan = p[0] & 0x07;
        break;
    case 0xBC:
        s.lines_mirrored = (p[0] & 0x01) != 0;
        s.columns_mirrored = (p[0] & 0x02) != 0;
        s.lines_first = (p[0] & 0x04) != 0;
        s.group_reversed = (p[1] & 0x01) != 0;
        if ((p[2] & 0x07) != 1 && (p[2] & 0x07) != 2) {
            fault("unknown grey-scale format", p[2]);
        } else {
            s.bytes_per_group = (p[2] & 0x07) == 1 ? 2 : 3;
        }
        break;
    case 0xCA:
        std::copy_n(p, 3, s.display_control);
        s.line_count = static_cast<std::uint8_t>(std::min(4 * ((p[1] & 0x3F) + 1), 160));
        break;
    default:
        break;
    }
}

void glass_t::run_extended() {
    auto& s = state_;
    switch (s.command) {
    case 0x20:
    case 0x21:
        std::copy_n(s.parameters, 16, s.grey_tables[s.command - 0x20]);
        break;
    case 0x32:
        std::copy_n(s.parameters, 3, s.analogue);
        break;
    case 0xCC:
    case 0xCD:
    case 0xFD:
        run_trim_memory();
        break;
    default:
        break;
    }
}

// Full power at once would pull the supply down: the booster has to run first, and to have settled.
void glass_t::switch_power(std::uint8_t wanted) {
    constexpr std::uint8_t booster = 0x08;
    constexpr std::int64_t settling_us = 2000;
    if ((wanted & ~booster) != 0 && (state_.power & booster) == 0) {
        fault("power without the booster running before", wanted);
    } else if ((wanted & ~booster) != 0 && now_us() - state_.booster_since_us < settling_us) {
        fault("power before the booster has settled", wanted);
    }
    if ((state_.power & booster) == 0) {
        state_.booster_since_us = now_us();
    }
    state_.power = wanted;
}

// Its mode is set, it is read, it is left: each takes until the memory is ready for the next.
void glass_t::run_trim_memory() {
    constexpr std::int64_t ready_us = 100'000;
    if (state_.command != 0xCD && now_us() - state_.trim_since_us < ready_us) {
        fault("trim memory hurried", state_.command);
    }
    state_.trim_since_us = now_us();
}

void glass_t::set_window(std::uint8_t& first, std::uint8_t& last, unsigned limit) {
    const auto [from, to] = std::pair{state_.parameters[0], state_.parameters[1]};
    if (from > to || to >= limit) {
        fault("window outside memory", to);
        return;
    }
    first = from;
    last = to;
}

void glass_t::begin_writing() {
    state_.column = state_.first_column;
    state_.line = state_.first_line;
    state_.writing = true;
}

void glass_t::store_group() {
    auto& s = state_;
    auto& pixels = s.memory[s.line][s.column];
    if (s.bytes_per_group == 2) {
        if ((s.group[1] & 0x20) != 0) {
            fault("pixel word with its unused bit set", s.group[1]);
        }
        pixels[0] = s.group[0] >> 3;
        pixels[1] = static_cast<std::uint8_t>((s.group[0] & 0x07) << 2 | s.group[1] >> 6);
        pixels[2] = s.group[1] & 0x1F;
    } else {
        std::transform(s.group, s.group + 3, pixels, [](std::uint8_t byte) { return byte >> 3; });
    }
    ++s.groups_written;
}

void glass_t::advance() {
    auto& s = state_;
    auto& inner = s.lines_first ? s.line : s.column;
    auto& outer = s.lines_first ? s.column : s.line;
    const auto [inner_first, inner_last] =
        s.lines_first ? std::pair{s.first_line, s.last_line} : std::pair{s.first_column, s.last_column};
    const auto [outer_first, outer_last] =
        s.lines_first ? std::pair{s.first_column, s.last_column} : std::pair{s.first_line, s.last_line};
    if (inner != inner_last) {
        ++inner;
        return;
    }
    inner = inner_first;
    outer = outer == outer_last ? outer_first : static_cast<std::uint8_t>(outer + 1);
}

glass_picture_t picture_of(const glass_state_t& state) {
    constexpr std::uint8_t lightest = 31;
    constexpr unsigned columns = glass_state_t::width / 3;
    glass_picture_t picture;
    for (unsigned y = 0; y < glass_state_t::height; ++y) {
        for (unsigned x = 0; x < glass_state_t::width; ++x) {
            // The glass is wired for mirrored columns and reversed groups: these two settings are upright.
            const unsigned line = state.lines_mirrored ? glass_state_t::height - 1 - y : y;
            const unsigned column = state.columns_mirrored ? x / 3 : columns - 1 - x / 3;
            const unsigned pixel = state.group_reversed ? x % 3 : 2 - x % 3;
            const auto level = state.memory[line][column][pixel];
            const bool driven = state.lit() && y < state.line_count;
            picture[y][x] = !driven         ? lightest
                            : state.inverse ? static_cast<std::uint8_t>(lightest - level)
                                            : level;
        }
    }
    return picture;
}

}  // namespace sim
