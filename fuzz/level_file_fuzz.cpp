// The program's level file.
//
// Input: a letter, then text. After "f" the text is the whole file, after "m" the members of its object
// behind the running build's revision, after any other letter the members of the program's object.

#include "fuzz/harness.h"
#include "platform/json_file.h"
#include "platform/logging.h"
#include "sim/root/unit_definition.h"
#include "sim/root/unit_root.h"

#include <spdlog/spdlog.h>
#include <unistd.h>

#include <string>

namespace {

constexpr const char* level_file = "/var/rwfs2/log_level.fwstatus.json";
constexpr const char* loggers[] = {"drv_io", "lin_ipc", "a"};
// What the unit root's build record says.
const std::string revision = R"("git_revision":"3f9c2d1")";

std::string file_content(fuzz::input_t input) {
    switch (input.letter()) {
    case 'f':
        return std::string{input.rest()};
    case 'm':
        return '{' + revision + ',' + std::string{input.rest()} + '}';
    default:
        return '{' + revision + R"(,"fwstatus":{)" + std::string{input.rest()} + "}}";
    }
}

/// Whether the file says that it was written for another build.
bool is_foreign() {
    rapidjson::Document document;
    const bool is_object = zel::read_json_object(level_file, document);
    const auto written_for = is_object ? zel::string_member(document, "git_revision") : std::nullopt;
    return written_for.value_or("3f9c2d1") != "3f9c2d1";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const sim::unit_root_t unit{*sim::find_unit("base-unit")};
    for (const auto* const name : loggers) {
        zel::register_logger(name);
        zel::set_logger_level(name, "critical");
    }
    unit.write_file(level_file, file_content({data, size}));
    const bool foreign = is_foreign();

    zel::apply_level_file("fwstatus");

    const bool exists = ::access(unit.file(level_file).c_str(), F_OK) == 0;
    fuzz::require(exists != foreign, "a file for another build is removed, and no other");
    for (const auto* const name : loggers) {
        const auto level = spdlog::get(name)->level();
        fuzz::require(level >= spdlog::level::trace && level <= spdlog::level::off, "a level is one");
        fuzz::require(!foreign || level == spdlog::level::critical, "a file for another build sets nothing");
    }
    return 0;
}
