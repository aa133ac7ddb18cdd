#include "platform/exceptions.h"

#include <array>
#include <cstring>
#include <utility>

namespace zel {

namespace {

// The C libraries of our targets disagree on what strerror_r returns: the text itself, or only whether the
// buffer holds it.
[[maybe_unused]] const char* text_of(const char* text, const char* /*buffer*/) {
    return text;
}
[[maybe_unused]] const char* text_of(int /*status*/, const char* buffer) {
    return buffer;
}

// strerror's text without its shared buffer, which another thread may be filling.
std::string system_text(int error_number) {
    std::array<char, 256> buffer{};
    return text_of(::strerror_r(error_number, buffer.data(), buffer.size()), buffer.data());
}

}  // namespace

exception_t::exception_t(std::string message) : message_{std::move(message)} {}

exception_t::~exception_t() = default;

const char* exception_t::what() const noexcept {
    return message_.c_str();
}

void exception_t::prepend(const std::string& context) {
    message_ = context + " : " + message_;
}

void exception_t::append(const std::string& detail) {
    message_ = message_ + " : " + detail;
}

system_exception_t::system_exception_t(std::string context, int error_number)
    : exception_t{context}, context_{std::move(context)}, error_number_{error_number} {
    exception_t::append(system_text(error_number) + " (" + std::to_string(error_number) + ')');
}

system_exception_t::~system_exception_t() = default;

memory_exception::memory_exception() : exception_t{"Block Memory Allocation Failed"} {}

}  // namespace zel
