#include "platform/exceptions.h"
#include "platform/mem_block.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cstdlib>
#include <cstring>
#include <limits>
#include <string_view>

namespace {

using zel::mem_block;

std::string_view text_of(const mem_block& block) {
    return {reinterpret_cast<const char*>(block.data()), block.size()};
}

TEST(mem_block, without_a_reservation_the_allocation_follows_every_change_of_size) {
    mem_block block{0};
    EXPECT_EQ(block.data(), nullptr);
    block.assign("seven segments", 14);
    EXPECT_EQ(block.capacity(), 14u);
    block.reallocate(4096);
    EXPECT_EQ(block.size(), 14u);
    EXPECT_EQ(block.capacity(), 4096u);
    block.resize(5);
    EXPECT_EQ(block.capacity(), 5u);
    EXPECT_EQ(text_of(block), "seven");
    block.resize(0);
    EXPECT_EQ(block.data(), nullptr);
    EXPECT_EQ(block.capacity(), 0u);
    block.reallocate(0);
    block.assign(nullptr, 0);
    EXPECT_EQ(block.size(), 0u);
}

TEST(mem_block, a_reservation_is_kept_until_more_is_asked_for) {
    mem_block block{0};
    block.reserve(64);
    const auto* const memory = block.data();
    block.assign("0123456789", 10);
    EXPECT_EQ(block.data(), memory);
    EXPECT_EQ(block.capacity(), 64u);
    block.resize(0);
    EXPECT_EQ(block.data(), memory);
    block.resize(100);
    EXPECT_EQ(block.capacity(), 100u);
    EXPECT_EQ(block.reserved(), 64u);
    block.release();
    EXPECT_EQ(block.reserved(), 0u);
    EXPECT_EQ(block.size(), 0u);
}

TEST(mem_block, a_reservation_whose_memory_was_given_back_is_no_room_to_write_into) {
    mem_block block{0};
    block.reserve(64);
    block.reallocate(8);
    block.resize(48);
    ASSERT_GE(block.capacity(), 48u);
    std::memset(block.data(), 0x5A, block.size());
    EXPECT_EQ(block.data()[47], std::byte{0x5A});
}

// Runs in a process of its own that may have no more memory than it has, for every way that allocates.
int outcome_without_memory() {
    constexpr auto largest = std::numeric_limits<std::uint32_t>::max();
    mem_block block{0};
    block.reserve(16);
    block.assign("kept", 4);
    const rlimit none{256u << 20u, 256u << 20u};
    if (::setrlimit(RLIMIT_AS, &none) != 0) {
        return 1;
    }
    int failures = 0;
    const auto expect_failure = [&](auto allocate) {
        try {
            allocate();
        } catch (const zel::memory_exception& fault) {
            failures += std::string_view{fault.what()} == "Block Memory Allocation Failed" ? 1 : 0;
        }
    };
    expect_failure([&] { block.resize(largest); });
    expect_failure([&] { block.reserve(largest); });
    expect_failure([&] { block.assign("", largest); });
    expect_failure([] { const mem_block fresh{largest}; });
    const bool untouched = text_of(block) == "kept" && block.capacity() == 16 && block.reserved() == 16;
    return failures == 4 && untouched ? 0 : 2;
}

TEST(mem_block, memory_that_runs_out_is_reported_and_the_block_stays_as_it_was) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "a sanitizer's shadow memory does not fit below the limit";
#endif
    EXPECT_EXIT(std::_Exit(outcome_without_memory()), testing::ExitedWithCode(0), "");
}

}  // namespace
