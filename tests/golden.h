#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace tests {

/// A text or picture that was looked at and found good, from the folder golden/ beside the test. One that is
/// missing reads as a text that equals no other. With FWSTATUS_RENEW_GOLDEN set in the environment it is
/// written from `actual` instead, to be looked at before it is committed.
inline std::string golden_text(const std::string& name, const std::string& actual) {
    const auto path = std::filesystem::path{FWSTATUS_GOLDEN_DIRECTORY} / name;
    if (std::getenv("FWSTATUS_RENEW_GOLDEN") != nullptr) {
        std::ofstream{path} << actual;
    }
    std::ifstream file{path};
    return file ? std::string{std::istreambuf_iterator<char>{file}, {}} : path.string() + " is missing";
}

}  // namespace tests
