#pragma once

#include <rapidjson/document.h>

#include <optional>
#include <string>
#include <string_view>

namespace zel {

/// Reads and parses a JSON file of foreign content. Nothing when the file cannot be opened or is not a JSON
/// object; the parser keeps no frame per nesting level on the stack, so depth is no danger.
/// @param unit_path  where the file lies on the unit.
[[nodiscard]] std::optional<rapidjson::Document> read_json_object(std::string_view unit_path);

/// The text of a string member; nothing when it is missing or of another type.
[[nodiscard]] std::optional<std::string> string_member(const rapidjson::Value& object, std::string_view name);

}  // namespace zel
