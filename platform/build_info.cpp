#include "platform/build_info.h"

#include "platform/json_file.h"
#include "platform/paths.h"

namespace zel {

void read_build_revision(std::string& revision) {
    revision.clear();
    rapidjson::Document record;
    if (read_json_object(paths::build_record, record)) {
        revision = string_member(record, "git_revision").value_or("");
    }
}

}  // namespace zel
