#include "firmware/uploader/status_answer.h"

#include <tinyxml2.h>

#include <charconv>
#include <system_error>

namespace firmware {

namespace {

constexpr std::string_view detail_opens = "<detail>";
constexpr std::string_view detail_closes = "</detail>";
constexpr std::string_view status_closes = "</status>";

std::optional<int> percentage(const char* text) {
    const std::string_view digits{text == nullptr ? "" : text};
    int value{};
    const auto [end, fault] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    if (fault != std::errc{} || end != digits.data() + digits.size() || value < -1 || value > 100) {
        return std::nullopt;
    }
    return value;
}

const char* text_of(const tinyxml2::XMLElement* parent, const char* name) {
    const auto* element = parent == nullptr ? nullptr : parent->FirstChildElement(name);
    return element == nullptr ? nullptr : element->GetText();
}

}  // namespace

std::optional<status_answer_t> read_status_answer(std::string_view text) {
    const auto detail_at = text.find(detail_opens);
    std::string head{text.substr(0, detail_at)};
    std::string detail;
    if (detail_at != std::string_view::npos) {
        head += status_closes;
        const auto rest = text.substr(detail_at + detail_opens.size());
        detail = rest.substr(0, rest.rfind(detail_closes));
    }
    tinyxml2::XMLDocument document;
    if (document.Parse(head.data(), head.size()) != tinyxml2::XML_SUCCESS) {
        return std::nullopt;
    }
    const auto* status = document.FirstChildElement("status");
    const char* state = text_of(status, "state");
    const auto progress = percentage(text_of(status, "progress"));
    if (state == nullptr || !progress) {
        return std::nullopt;
    }
    return status_answer_t{state, *progress, std::move(detail)};
}

}  // namespace firmware
