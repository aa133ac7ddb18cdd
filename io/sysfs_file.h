#pragma once

#include <optional>
#include <string_view>

/// Attribute files of the kernel: one short text each.
namespace io::sysfs_file {

/// Opens an existing attribute and writes `text` with a single write.
/// @return false when the file cannot be opened. What the kernel says to the text is not asked: it refuses
///         to release a line that nobody holds, for one.
[[nodiscard]] bool write(std::string_view unit_path, std::string_view text);

/// The decimal number at the start of an attribute. Nothing when it cannot be read or holds no number.
[[nodiscard]] std::optional<int> read_integer(std::string_view unit_path);

}  // namespace io::sysfs_file
