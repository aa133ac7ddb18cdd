#pragma once

#include "platform/log.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

/// On what hardware the process runs: the facts that the property engine keeps below "/sys/config/", and two
/// checks of the kernel's own files.
namespace zel {

/// The platform record.
struct platform_t {
    int arch = 0;                   ///< processor architecture, see `architecture_code`
    int platform = 0;               ///< platform code of "/sys/config/platform"
    std::uint32_t part_number = 0;  ///< numeric part number (model code); 0 when the text is not listed
    std::string part_number_text;   ///< "/sys/config/part_number" as it was read
    std::string fw_server_crc;
    std::string fw_server_hash;
    std::string fw_server_crc_compat;
    std::string fw_server_hash_compat;
};

/// This process's record; all zero and empty until it was read. Written once, before `main`.
[[nodiscard]] const platform_t& platform_identity();
/// The model code by which drivers tell members of a product family apart: the numeric part number.
[[nodiscard]] std::uint32_t model_code();
/// Makes a record this process's own.
void set_platform_identity(platform_t record);

/// "x86_64" 1, "powerpc" 2, "arm" 3, "a8_arm" 4, "aarch64" 6; any other text 0.
[[nodiscard]] int architecture_code(std::string_view arch);

/// True when the kernel's accounts of the control group of process 1, or of this process's mounts, mention
/// docker. Read on the first call; a file that cannot be opened mentions nothing.
[[nodiscard]] bool running_in_container();
/// True when the processor's flags say that a hypervisor runs below. Read on the first call.
[[nodiscard]] bool running_under_hypervisor();

/// One attempt at the record, over a connection of its own that is gone afterwards. Blocks up to 1000 ms for
/// each of seven properties; the first that does not arrive ends the attempt. A property that the engine does
/// not have reads as empty. Throws std::out_of_range ("map::at") for a platform text that is not listed.
///
/// @tparam client_t  what reads a property: default-constructed, `connect()`, then
///                   `bool wait_for_something(name, value_out, timeout_ms)`. A parameter because this folder
///                   lies below the one that knows the engine.
template <typename client_t>
[[nodiscard]] std::optional<platform_t> read_platform();

/// Reads this process's record before `main`, with a second attempt at once when the first failed. When that
/// fails too the process has no way to know its hardware: an error line, and exit status 255.
template <typename client_t>
void identify();

// Implementation

/// How one property of the record is taken over from its text.
struct platform_property_t {
    const char* name;
    void (*take)(platform_t& record, const std::string& value);
};

inline constexpr std::size_t platform_property_count = 7;
/// The properties of the record in the order in which they are read.
[[nodiscard]] const platform_property_t (&platform_properties())[platform_property_count];

template <typename client_t>
std::optional<platform_t> read_platform() {
    constexpr int answer_timeout_ms = 1000;
    client_t client;
    // An unconnected client fails its first read, with a line in the log that says for which property.
    static_cast<void>(client.connect());
    platform_t record;
    for (const auto& property : platform_properties()) {
        std::string value;
        if (!client.wait_for_something(property.name, value, answer_timeout_ms)) {
            return std::nullopt;
        }
        property.take(record, value);
    }
    return record;
}

template <typename client_t>
void identify() {
    constexpr int attempts = 2;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        if (auto record = read_platform<client_t>()) {
            set_platform_identity(std::move(*record));
            return;
        }
    }
    log_error_s{} << "platform_t unable to read platform information from property engine.";
    std::exit(-1);
}

}  // namespace zel
