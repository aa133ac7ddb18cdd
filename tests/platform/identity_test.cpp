#include "platform/identity.h"
#include "platform/logging.h"
#include "platform/product_tables.h"
#include "sim/system_path.h"
#include "tests/log_capture.h"
#include "tests/temporary_directory.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using list_t = std::vector<std::string>;

/// What a property engine would answer, and what it was asked.
struct fake_engine_t {
    std::map<std::string, std::string> properties{
        {"/sys/config/arch", "aarch64"},
        {"/sys/config/platform", "expc"},
        {"/sys/config/part_number", "SU-2"},
        {"/sys/config/fw_server_crc", "1"},
        {"/sys/config/fw_server_hash", "2"},
        {"/sys/config/fw_server_crc_compat", "3"},
        {"/sys/config/fw_server_hash_compat", "4"},
    };
    std::vector<std::size_t> answers_per_client;  // how many reads the first, second... client gets answered
    std::size_t clients = 0;
    std::size_t clients_alive = 0;
    list_t reads;
};

fake_engine_t engine;

class fake_client_t {
  public:
    fake_client_t() {
        if (engine.clients < engine.answers_per_client.size()) {
            answers_ = engine.answers_per_client[engine.clients];
        }
        ++engine.clients;
        ++engine.clients_alive;
    }
    fake_client_t(const fake_client_t&) = delete;
    fake_client_t& operator=(const fake_client_t&) = delete;
    ~fake_client_t() { --engine.clients_alive; }

    bool connect() {
        connected_ = true;
        return true;
    }
    bool wait_for_something(const std::string& name, std::string& value, int timeout_ms) {
        EXPECT_EQ(timeout_ms, 1000);
        EXPECT_EQ(engine.clients_alive, 1U) << "a connection for each attempt, gone after it";
        engine.reads.push_back(name);
        value = engine.properties[name];
        return connected_ && answers_-- > 0;
    }

  private:
    bool connected_ = false;
    std::size_t answers_ = 7;
};

TEST(identity, is_read_in_one_attempt_from_seven_properties_in_order) {
    zel::identify<fake_client_t>();
    const auto& record = zel::platform_identity();
    EXPECT_EQ(record.arch, 6);
    EXPECT_EQ(record.platform, 13);
    EXPECT_EQ(record.part_number, 93U);
    EXPECT_EQ(zel::model_code(), 93U);
    EXPECT_EQ(record.part_number_text, "SU-2");
    EXPECT_EQ(record.fw_server_crc + record.fw_server_hash + record.fw_server_crc_compat +
                  record.fw_server_hash_compat,
              "1234");
    EXPECT_EQ(engine.reads,
              (list_t{"/sys/config/arch", "/sys/config/platform", "/sys/config/part_number",
                      "/sys/config/fw_server_crc", "/sys/config/fw_server_hash",
                      "/sys/config/fw_server_crc_compat", "/sys/config/fw_server_hash_compat"}));
}

TEST(identity, a_failed_attempt_is_repeated_whole_over_a_new_connection) {
    engine.answers_per_client = {4, 7};
    zel::identify<fake_client_t>();
    EXPECT_EQ(engine.clients, 2U);
    EXPECT_EQ(engine.reads.size(), 5U + 7U);
    EXPECT_EQ(zel::platform_identity().fw_server_hash_compat, "4");
}

TEST(identity, an_engine_that_answers_one_read_ends_the_process_after_two_attempts) {
    engine.answers_per_client = {1, 1, 7};
    tests::log_capture_t log;
    EXPECT_EXIT(
        {
            zel::setup_logging("identity_test", "stdout_color_sink_st");
            // The console sink writes to standard output, the exit is seen on standard error.
            ::dup2(STDERR_FILENO, STDOUT_FILENO);
            zel::identify<fake_client_t>();
        },
        testing::ExitedWithCode(255),
        "platform_t unable to read platform information from property engine\\.");
}

TEST(identity, a_platform_that_is_not_listed_is_out_of_range_and_a_part_number_is_not) {
    engine.properties["/sys/config/arch"] = "sparc";
    engine.properties["/sys/config/part_number"] = "XX-1";
    zel::identify<fake_client_t>();
    EXPECT_EQ(zel::platform_identity().arch, 0);
    EXPECT_EQ(zel::platform_identity().part_number, 0U);
    EXPECT_EQ(zel::platform_identity().part_number_text, "XX-1");

    for (const auto* const unlisted : {"", "expz", "zzz", "EXPC"}) {
        engine.properties["/sys/config/platform"] = unlisted;
        try {
            zel::identify<fake_client_t>();
            ADD_FAILURE() << unlisted;
        } catch (const std::out_of_range& error) {
            EXPECT_STREQ(error.what(), "map::at");
        }
    }
    EXPECT_EQ(engine.clients_alive, 0U);
}

TEST(product_tables, describe_a_listed_product_and_fall_back_for_others) {
    zel::setup_logging("identity_test", "stdout_color_sink_st");
    tests::log_capture_t log;
    EXPECT_EQ(zel::short_name(93), "studio_2");
    EXPECT_EQ(zel::display_name(93), "Studio Unit 2");
    EXPECT_EQ(zel::hardware_family(93), 8);
    EXPECT_EQ(zel::board_generation(94), 2);
    EXPECT_EQ(zel::control_cpus(85), (list_t{"cpu0", "cpu1"}));
    EXPECT_EQ(zel::network_cpus(93), list_t{"cpu1"});
    EXPECT_EQ(zel::processing_cpus(93), (list_t{"cpu2", "cpu3"}));
    EXPECT_EQ(zel::control_cpus(0), list_t{});
    EXPECT_FALSE(log.has("Table lookup")) << "nothing missed so far";

    EXPECT_EQ(zel::short_name(999), "unknown");
    EXPECT_EQ(zel::display_name(999), "Unknown");
    EXPECT_EQ(zel::hardware_family(999), 0);
    EXPECT_EQ(zel::control_cpus(999), list_t{"cpu0"});
    EXPECT_EQ(zel::network_cpus(137), list_t{});
    EXPECT_EQ(zel::processing_cpus(0), (list_t{"cpu1", "cpu2", "cpu3"}));
    const std::string warning = "[warning] Table lookup failed for part number ";
    EXPECT_TRUE(log.has(warning + "Unknown. Using default control cpu vector\n"));
    EXPECT_TRUE(log.has(warning + "Virtual Node 3. Using default network cpu vector\n"));
    EXPECT_TRUE(log.has(warning + "Unknown. Using default processing cpu vector\n"));
}

/// The kernel's files below a root of the test's own.
class kernel_files : public testing::Test {
  protected:
    kernel_files() { sim::set_unit_root(directory_.path()); }
    ~kernel_files() override { sim::set_unit_root(""); }

    tests::temporary_directory_t directory_;
};

TEST_F(kernel_files, without_a_word_of_docker_or_hypervisor_mean_neither_and_the_answer_stays) {
    EXPECT_FALSE(zel::running_in_container());
    EXPECT_FALSE(zel::running_under_hypervisor());
    tests::write_file(directory_.path() + "/proc/1/cgroup", "docker\n");
    tests::write_file(directory_.path() + "/proc/cpuinfo", "hypervisor\n");
    EXPECT_FALSE(zel::running_in_container());
    EXPECT_FALSE(zel::running_under_hypervisor());
}

TEST_F(kernel_files, mention_docker_in_the_mounts_alone) {
    tests::write_file(directory_.path() + "/proc/1/cgroup", "0::/\n1:cpu:/\n");
    tests::write_file(directory_.path() + "/proc/self/mountinfo",
                      "1 2 0:1 / / rw\n3 4 0:2 /var/lib/docker/x /etc/hosts rw\n");
    tests::write_file(directory_.path() + "/proc/cpuinfo", "processor : 0\nflags : fpu hypervisor\n");
    EXPECT_TRUE(zel::running_in_container());
    EXPECT_TRUE(zel::running_under_hypervisor());
}

}  // namespace
