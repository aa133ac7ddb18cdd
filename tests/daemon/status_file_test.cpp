#include "daemon/status_file.h"
#include "sim/root/unit_root.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <climits>
#include <fstream>
#include <iterator>

namespace {

TEST(status_file, keeps_its_readers_who_find_exactly_these_bytes) {
    const sim::unit_root_t unit{*sim::find_unit("container")};
    const auto path = unit.file("/usr/zel/www/fw_status.xml");
    ::umask(0);  // as the daemon's is
    firmware::status_file_t file{path};
    file.write("fw_write", INT_MIN, std::string(100'000, 'x'));
    std::ifstream reader{path};  // a web server holds on to the file
    file.write("fw_write", 37, "<Block> 3 & 9");
    EXPECT_EQ((std::string{std::istreambuf_iterator<char>{reader}, {}}),
              "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n"
              "<status>\r\n"
              "  <state>fw_write</state>\r\n"
              "  <progress>37</progress>\r\n"
              "  <detail><Block> 3 & 9</detail>\r\n"
              "</status>\r\n");
    struct stat status {};
    ::stat(path.c_str(), &status);
    EXPECT_EQ(status.st_mode & 0777U, 0666U);
    file.write("", -1, "");
    EXPECT_NE(unit.read_file("/usr/zel/www/fw_status.xml")
                  .find("<state></state>\r\n  <progress>-1</progress>\r\n  <detail></detail>"),
              std::string::npos);
}

TEST(status_file, that_cannot_be_opened_or_would_block_is_left_alone) {
    const sim::unit_root_t unit{*sim::find_unit("container")};
    firmware::status_file_t{unit.file("/none/fw_status.xml")}.write("idle", 0, "");
    const auto pipe = unit.file("/pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    firmware::status_file_t{pipe}.write("idle", 0, "");  // a pipe without a reader would block
    firmware::status_file_t{"/dev/full"}.write("idle", 0, "");
}

}  // namespace
