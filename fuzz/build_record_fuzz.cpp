// The record of the running build.
//
// Input: the file.

#include "fuzz/harness.h"
#include "platform/build_info.h"
#include "platform/paths.h"
#include "sim/root/unit_definition.h"
#include "sim/root/unit_root.h"

#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const sim::unit_root_t unit{*sim::find_unit("base-unit")};
    const auto content = fuzz::input_t{data, size}.rest();
    unit.write_file(zel::paths::build_record, content);
    std::string revision{"what was here before"};
    zel::read_build_revision(revision);
    // Escapes make a text longer in the file than in memory.
    fuzz::require(revision.empty() ||
                      (revision.size() < content.size() && content.find('{') != content.npos &&
                       content.find('"') != content.npos),
                  "a revision comes from a member of the file's object");
    return 0;
}
