#pragma once

#include <rapidjson/document.h>

#include <optional>
#include <string>
#include <string_view>

namespace zel {

/// Reads and parses a JSON file of foreign content. The parser keeps no frame per nesting level on the stack,
/// so depth is no danger.
/// @param unit_path  where the file lies on the unit.
/// @return false when the file cannot be opened or is not a JSON object; `document` is of no use then.
[[nodiscard]] bool read_json_object(std::string_view unit_path, rapidjson::Document& document);

/// The text of a string member; nothing when it is missing or of another type.
[[nodiscard]] std::optional<std::string> string_member(const rapidjson::Value& object, std::string_view name);

}  // namespace zel
