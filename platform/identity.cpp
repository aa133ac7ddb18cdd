#include "platform/identity.h"

#include "platform/log.h"
#include "platform/paths.h"
#include "platform/product_tables.h"
#include "platform/system_path.h"

#include <array>
#include <cstdlib>
#include <fstream>
#include <utility>

namespace zel {

namespace {

platform_t& record_of_this_process() {
    static auto& record = *new platform_t;
    return record;
}

bool any_line_contains(std::string_view unit_path, std::string_view word) {
    std::ifstream file{system_path(unit_path)};
    for (std::string line; std::getline(file, line);) {
        if (line.find(word) != std::string::npos) {
            return true;
        }
    }
    return false;
}

/// How one property of the record is taken over from its text.
struct platform_property_t {
    const char* name;
    void (*take)(platform_t& record, const std::string& value);
};

// In the order in which they are read.
constexpr platform_property_t properties[] = {
    {"/sys/config/arch",
     [](platform_t& record, const std::string& value) { record.arch = architecture_code(value); }},
    {"/sys/config/platform",
     [](platform_t& record, const std::string& value) { record.platform = platform_code(value); }},
    {"/sys/config/part_number",
     [](platform_t& record, const std::string& value) {
         record.part_number = part_number_code(value);
         record.part_number_text = value;
     }},
    {"/sys/config/fw_server_crc",
     [](platform_t& record, const std::string& value) { record.fw_server_crc = value; }},
    {"/sys/config/fw_server_hash",
     [](platform_t& record, const std::string& value) { record.fw_server_hash = value; }},
    {"/sys/config/fw_server_crc_compat",
     [](platform_t& record, const std::string& value) { record.fw_server_crc_compat = value; }},
    {"/sys/config/fw_server_hash_compat",
     [](platform_t& record, const std::string& value) { record.fw_server_hash_compat = value; }},
};

}  // namespace

const platform_t& platform_identity() {
    return record_of_this_process();
}

std::uint32_t model_code() {
    return platform_identity().part_number;
}

void set_platform_identity(platform_t record) {
    record_of_this_process() = std::move(record);
}

int architecture_code(std::string_view arch) {
    struct row_t {
        std::string_view name;
        int code;
    };
    // 5 was never given out.
    constexpr std::array architectures{
        row_t{"x86_64", 1}, row_t{"powerpc", 2}, row_t{"arm", 3}, row_t{"a8_arm", 4}, row_t{"aarch64", 6},
    };
    for (const auto& row : architectures) {
        if (row.name == arch) {
            return row.code;
        }
    }
    return 0;
}

bool running_in_container() {
    static const bool contained =
        any_line_contains(paths::init_cgroup, "docker") || any_line_contains(paths::mount_info, "docker");
    return contained;
}

bool running_under_hypervisor() {
    static const bool hosted = any_line_contains(paths::cpu_info, "hypervisor");
    return hosted;
}

std::optional<platform_t> read_platform(const property_reader_t& read) {
    platform_t record;
    for (const auto& property : properties) {
        std::string value;
        if (!read(property.name, value)) {
            return std::nullopt;
        }
        property.take(record, value);
    }
    return record;
}

void identify(const std::function<property_reader_t()>& connect) {
    constexpr int attempts = 2;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        if (auto record = read_platform(connect())) {
            set_platform_identity(std::move(*record));
            return;
        }
    }
    log_error_s{} << "platform_t unable to read platform information from property engine.";
    std::exit(-1);
}

}  // namespace zel
