#include "platform/json_file.h"

#include "platform/system_path.h"

#include <fstream>

namespace zel {

bool read_json_object(std::string_view unit_path, rapidjson::Document& document) {
    std::ifstream file{system_path(unit_path)};
    if (!file) {
        return false;
    }
    std::string text;
    for (std::string line; std::getline(file, line);) {
        text += line;
        text += '\n';
    }
    document.Parse<rapidjson::kParseIterativeFlag>(text.data(), text.size());
    return !document.HasParseError() && document.IsObject();
}

std::optional<std::string> string_member(const rapidjson::Value& object, std::string_view name) {
    const auto member = object.FindMember(
        rapidjson::Value{rapidjson::StringRef(name.data(), static_cast<rapidjson::SizeType>(name.size()))});
    if (member == object.MemberEnd() || !member->value.IsString()) {
        return std::nullopt;
    }
    return std::string{member->value.GetString(), member->value.GetStringLength()};
}

}  // namespace zel
