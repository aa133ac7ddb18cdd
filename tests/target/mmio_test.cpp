#include "io/mmio.h"
#include "platform/system_path.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>

namespace {

const auto page = static_cast<std::size_t>(::getpagesize());

struct closer_t {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

/// A file that stands for a device: four pages, each byte of a page its number.
std::unique_ptr<std::FILE, closer_t> device() {
    std::unique_ptr<std::FILE, closer_t> file{std::tmpfile()};
    for (char number = 1; number <= 4; ++number) {
        const std::string bytes(page, number);
        std::fwrite(bytes.data(), 1, bytes.size(), file.get());
    }
    std::fflush(file.get());
    return file;
}

std::size_t locked_bytes() {
    std::ifstream status{"/proc/self/status"};
    std::string word;
    std::size_t kilobytes = 0;
    while (status >> word && word != "VmLck:") {
    }
    status >> kilobytes;
    return 1024 * kilobytes;
}

TEST(mmio, words_and_bytes_of_a_device_are_big_endian_and_reach_it_where_they_were_written) {
    const auto file = device();
    const int descriptor = ::fileno(file.get());
    const auto unlocked = locked_bytes();
    auto* const mapping = io::mmio::map(descriptor, 2 * page, static_cast<off_t>(page));
    ASSERT_NE(mapping, nullptr);
    EXPECT_EQ(locked_bytes(), unlocked + 2 * page);
    EXPECT_EQ(io::mmio::read32(mapping), 0x02020202U);
    EXPECT_EQ(io::mmio::read8(mapping + 2 * page - 1), 3);

    io::mmio::write32(mapping + 4, 0x12345678);
    io::mmio::write8(mapping + page + 3, 0xFE);
    std::array<unsigned char, 12> bytes{};
    const auto bytes_at = [&](std::size_t offset) {
        EXPECT_EQ(::pread(descriptor, bytes.data(), bytes.size(), static_cast<off_t>(offset)), 12);
        return bytes;
    };
    EXPECT_EQ(bytes_at(page),
              (std::array<unsigned char, 12>{2, 2, 2, 2, 0x12, 0x34, 0x56, 0x78, 2, 2, 2, 2}));
    EXPECT_EQ(bytes_at(2 * page), (std::array<unsigned char, 12>{3, 3, 3, 0xFE, 3, 3, 3, 3, 3, 3, 3, 3}));
    EXPECT_EQ(io::mmio::read32(mapping + 4), 0x12345678U);
    EXPECT_EQ(io::mmio::read32(mapping + page), 0x030303FEU);
    EXPECT_EQ(io::mmio::read8(mapping + 5), 0x34);
    EXPECT_EQ(io::mmio::read8(mapping + page + 3), 0xFE);

    io::mmio::unmap(mapping, 2 * page);
    EXPECT_EQ(locked_bytes(), unlocked) << "the whole of it is given back";
}

TEST(mmio, what_cannot_be_mapped_is_null_with_the_reason) {
    const int read_only = ::open("/proc/self/exe", O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(io::mmio::map(read_only, page, 0), nullptr);
    EXPECT_EQ(errno, EACCES) << "shared, and to be written";
    ::close(read_only);
    EXPECT_EQ(io::mmio::map(-1, page, 0), nullptr);
    EXPECT_EQ(errno, EBADF);
}

TEST(system_path, of_a_unit_is_the_path_itself) {
    EXPECT_EQ(zel::system_path("/dev/io"), "/dev/io");
}

}  // namespace
