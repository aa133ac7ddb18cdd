#include "tools/fwpush/fleet.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <stdexcept>

namespace {

using fwpush::image_t;

TEST(fleet, begins_within_a_second) {
    const auto delay = [](std::size_t unit, std::size_t units) {
        return fwpush::start_delay(unit, units).count();
    };
    EXPECT_EQ(delay(0, 1), 0);
    EXPECT_EQ(delay(1, 2), 10);
    EXPECT_EQ(delay(99, 100), 990);
    EXPECT_EQ(delay(199, 200), 995);
}

std::string fault_of(const std::string& path) {
    try {
        const image_t image{path};
    } catch (const std::runtime_error& fault) {
        return fault.what();
    }
    return "";
}

TEST(image, that_is_none_says_so) {
    EXPECT_EQ(fault_of("/nonexistent"), "/nonexistent: No such file or directory");
    EXPECT_EQ(fault_of("/dev/zero"), "/dev/zero: no regular file");
    EXPECT_EQ(fault_of("/proc/self/status"), "/proc/self/status: the image is empty");
    const auto fifo = testing::TempDir() + "fwstatus_fifo";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_EQ(fault_of(fifo), fifo + ": no regular file");
    std::remove(fifo.c_str());
    // Files that have fewer bytes than they say, and none at all.
    for (const auto& [path, fault] : {std::pair<std::string, const char*>{
                                          "/sys/kernel/uevent_seqnum", "the image changes while it is read"},
                                      {"/sys/class/net/lo/speed", "Invalid argument"}}) {
        EXPECT_EQ(std::ifstream{path} ? fault_of(path) : path + ": " + fault, path + ": " + fault);
    }
}

/// A file with a time of change that a test sets.
class image_file_t {
  public:
    explicit image_file_t(const std::string& content) {
        std::ofstream{path} << content;
        touch(1000, 500);
    }
    ~image_file_t() { std::remove(path.c_str()); }
    void touch(time_t seconds, long nanoseconds) const {
        const std::array<timespec, 2> times{{{0, UTIME_OMIT}, {seconds, nanoseconds}}};
        EXPECT_EQ(::utimensat(AT_FDCWD, path.c_str(), times.data(), 0), 0);
    }
    const std::string path = testing::TempDir() + "fwstatus_image";
};

TEST(image, is_read_as_long_as_it_is_the_same) {
    const image_file_t file{"abc"};
    const image_t image{file.path};
    EXPECT_EQ(image.hash(), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(image.size(), 3);
    const auto read = [&](std::int64_t offset) {
        std::array<char, 2> bytes{};
        const auto count = image.read(offset, bytes);
        return count < 0 ? "gone" : std::string{bytes.data(), static_cast<std::size_t>(count)};
    };
    EXPECT_EQ(read(0) + read(2) + read(3), "abc");
    file.touch(1000, 501);
    EXPECT_EQ(read(0) + read(3), "gonegone");
    file.touch(1001, 500);
    EXPECT_EQ(read(0), "gone");
    file.touch(1000, 500);
    EXPECT_EQ(read(0), "ab");
    std::ofstream{file.path, std::ios::app} << "d";
    file.touch(1000, 500);
    EXPECT_EQ(read(0), "gone");
}

}  // namespace
