#pragma once

#include "tools/unitctl/refusal.h"

#include <CLI/CLI.hpp>

#include <array>
#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

namespace tools::unitctl {

/// Prints what was read as printf does, and says whether it was read.
[[gnu::format(printf, 2, 3)]] bool print_if(bool read, const char* format, ...);

/// How long to go on, as a person gave it: refuses what is not within 0.001 s and a day.
/// @return 0, which is for ever, for no limit.
[[nodiscard]] std::chrono::milliseconds time_limit(const std::optional<double>& seconds);
inline constexpr const char* time_limit_help = "Seconds after which to end by itself, 0.001 to 86400";

/// For numbers of a command line: one that begins with 0 is decimal, unless it is hexadecimal behind "0x".
[[nodiscard]] CLI::Validator decimal_unless_0x();

/// One word behind a command's name.
struct operand_t {
    const char* name;
    const char* help;
};

template <typename value_t>
inline constexpr bool may_be_left_out = false;
template <typename value_t>
inline constexpr bool may_be_left_out<std::optional<value_t>> = true;
template <typename value_t>
inline constexpr bool may_be_left_out<std::vector<value_t>> = true;

template <typename value_t>
inline constexpr bool holds_numbers = std::is_integral_v<value_t>;
template <typename value_t>
inline constexpr bool holds_numbers<std::optional<value_t>> = std::is_integral_v<value_t>;
template <typename value_t>
inline constexpr bool holds_numbers<std::vector<value_t>> = std::is_integral_v<value_t>;

/// Adds a command with its operands to a group of commands.
///
///     add_command<int, double>(app, "lamp", "Sets a lamp", {{{"LAMP", "0 or 1"}, {"PERCENT", "10..100"}}},
///                              [&](int lamp, double percent) { return set(lamp, percent); });
///
/// @tparam values_t  types of the operands. std::optional and, as the last one, std::vector may be left out.
/// @param call       takes the operands. One that returns false has been refused by a driver.
/// @return the command, for options to be added.
template <typename... values_t, typename call_t>
CLI::App& add_command(CLI::App& group, const char* name, const char* help,
                      const std::array<operand_t, sizeof...(values_t)>& operands, call_t call) {
    const auto values = std::make_shared<std::tuple<values_t...>>();
    auto& command = *group.add_subcommand(name, help);
    std::size_t at = 0;
    const auto add = [&](auto& value) {
        const auto& operand = operands.at(at++);
        using value_t = std::remove_reference_t<decltype(value)>;
        auto* const option = command.add_option(operand.name, value, operand.help);
        option->required(!may_be_left_out<value_t>);
        if constexpr (holds_numbers<value_t>) {
            option->transform(decimal_unless_0x());
        }
    };
    std::apply([&](auto&... value) { (add(value), ...); }, *values);
    command.callback([values, call] { require_done([&] { return std::apply(call, *values); }); });
    return command;
}

/// Adds a word that stands before commands, such as "lcd" in "lcd text".
inline CLI::App& add_group(CLI::App& app, const char* name, const char* help) {
    return *app.add_subcommand(name, help)->require_subcommand(1);
}

/// Makes such a word a command as well: what it does when no command stands behind it.
template <typename call_t>
void add_default(CLI::App& group, call_t call) {
    group.require_subcommand(0, 1);
    group.callback([&group, call] {
        if (group.get_subcommands().empty()) {
            require_done(call);
        }
    });
}

}  // namespace tools::unitctl
