#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

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

/// Reads a property of the engine: gives its value, an empty one for a property that the engine does not
/// have.
/// @return false when the engine does not answer.
using property_reader_t = std::function<bool(const std::string& name, std::string& value)>;

/// One attempt at the record: seven properties, and the first that cannot be read ends it. Throws
/// std::out_of_range ("map::at") for a platform text that is not listed.
[[nodiscard]] std::optional<platform_t> read_platform(const property_reader_t& read);

/// Reads this process's record before `main`, with a second attempt at once when the first failed. When that
/// fails too the process has no way to know its hardware: an error line, and exit status 255.
/// @param connect  gives the reader of one attempt, which is gone after it: an answer that came too late must
///                 not be taken for one to the next attempt's questions.
void identify(const std::function<property_reader_t()>& connect);

}  // namespace zel
