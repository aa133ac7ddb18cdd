#include "platform/identity.h"
#include "platform/logging.h"
#include "platform/product_list.h"
#include "platform/product_tables.h"
#include "sim/root/log_file.h"
#include "sim/root/unit_root.h"
#include "tests/golden.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using list_t = std::vector<std::string>;

/// An engine that ends its answers at some point, to one connection after the other.
std::map<std::string, std::string> properties{
    {"/sys/config/arch", "aarch64"},           {"/sys/config/platform", "expc"},
    {"/sys/config/part_number", "SU-2"},       {"/sys/config/fw_server_crc", "1"},
    {"/sys/config/fw_server_hash", "2"},       {"/sys/config/fw_server_crc_compat", "3"},
    {"/sys/config/fw_server_hash_compat", "4"}};
std::vector<int> answers;
list_t reads;

zel::property_reader_t connect() {
    const int count = answers.front();
    answers.erase(answers.begin());
    return [left = count](const std::string& name, std::string& value) mutable {
        reads.push_back(name);
        value = properties[name];
        return left-- > 0;
    };
}

TEST(identity, is_read_from_seven_properties_and_again_from_the_first_when_one_does_not_come) {
    answers = {1, 7};
    zel::identify(&connect);
    const auto& record = zel::platform_identity();
    EXPECT_EQ(record.arch, 6);
    EXPECT_EQ(record.platform, 13);
    EXPECT_EQ(zel::model_code(), 93U);
    EXPECT_EQ(record.part_number_text + record.fw_server_crc + record.fw_server_hash +
                  record.fw_server_crc_compat + record.fw_server_hash_compat,
              "SU-21234");
    EXPECT_EQ(reads,
              (list_t{"/sys/config/arch", "/sys/config/platform", "/sys/config/arch", "/sys/config/platform",
                      "/sys/config/part_number", "/sys/config/fw_server_crc", "/sys/config/fw_server_hash",
                      "/sys/config/fw_server_crc_compat", "/sys/config/fw_server_hash_compat"}));
}

TEST(identity, that_two_attempts_do_not_get_ends_the_process) {
    answers = {6, 6, 7};
    EXPECT_EXIT(zel::identify(&connect), testing::ExitedWithCode(255), "");
}

TEST(identity, of_an_unlisted_platform_is_out_of_range_and_of_an_unlisted_part_number_0) {
    answers = {7};
    properties["/sys/config/arch"] = "sparc";
    properties["/sys/config/part_number"] = "not listed";
    zel::identify(&connect);
    EXPECT_EQ(zel::platform_identity().arch, 0);
    EXPECT_EQ(zel::platform_identity().part_number, 0U);
    EXPECT_THROW(static_cast<void>(zel::platform_code("EXPC")), std::out_of_range);
}

TEST(architecture, has_a_code_of_its_own_for_each_of_five) {
    std::vector<int> codes;
    for (const auto* const name : {"x86_64", "powerpc", "arm", "a8_arm", "aarch64", "Arm", ""}) {
        codes.push_back(zel::architecture_code(name));
    }
    EXPECT_EQ(codes, (std::vector{1, 2, 3, 4, 6, 0, 0}));
}

std::string joined(const list_t& words) {
    std::string text;
    for (const auto& word : words) {
        text += ' ' + word;
    }
    return text;
}

TEST(product_tables, describe_every_part_number_as_listed_and_others_by_defaults_with_a_warning) {
    zel::setup_logging("identity_test", "no console");
    const sim::log_capture_t log;
    std::ostringstream listing;
    for (std::uint32_t code = 0; code <= 138; ++code) {
        listing << code << ": " << zel::short_name(code) << ", " << zel::display_name(code) << ", "
                << zel::hardware_family(code) << ' ' << zel::board_generation(code) << ", control"
                << joined(zel::control_cpus(code)) << ", network" << joined(zel::network_cpus(code))
                << ", processing" << joined(zel::processing_cpus(code)) << '\n';
    }
    for (const auto& product : zel::product_list::products) {
        listing << product.text << " is " << zel::part_number_code(product.text) << '\n';
    }
    for (const auto& platform : zel::product_list::platforms) {
        listing << platform.name << " is " << zel::platform_code(platform.name) << '\n';
    }
    EXPECT_EQ(listing.str(), tests::golden_text("products.txt", listing.str()));
    for (const auto* const kind : {"control", "network", "processing"}) {
        EXPECT_TRUE(
            log.has("[identity_test] [warning] Table lookup failed for part number Virtual Node 3. Using "
                    "default " +
                    std::string{kind} + " cpu vector\n"));
    }
}

TEST(kernel_files, mention_nothing_on_a_unit_of_its_own) {
    const sim::unit_root_t unit{*sim::find_unit("base-unit")};
    EXPECT_FALSE(zel::running_in_container() || zel::running_under_hypervisor());
}

TEST(kernel_files, may_mention_docker_in_the_control_group_alone) {
    const sim::unit_root_t unit{*sim::find_unit("base-unit")};
    unit.write_file("/proc/1/cgroup", "0::/docker/x\n");
    EXPECT_TRUE(zel::running_in_container());
}

TEST(kernel_files, may_mention_docker_in_the_mounts_alone) {
    const sim::unit_root_t unit{*sim::find_unit("virtual-machine")};
    unit.write_file("/proc/self/mountinfo", "1 2 0:1 / / rw\n3 4 0:2 /var/lib/docker/x /etc/hosts rw\n");
    EXPECT_TRUE(zel::running_in_container() && zel::running_under_hypervisor());
}

}  // namespace
