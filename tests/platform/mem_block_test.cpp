#include "platform/exceptions.h"
#include "platform/mem_block.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cstdlib>
#include <string_view>

namespace {

using zel::mem_block;

std::string_view text_of(const mem_block& block) {
    return {reinterpret_cast<const char*>(block.data()), block.size()};
}

TEST(mem_block, without_a_reservation_the_allocation_follows_every_change_of_size) {
    mem_block block{0};
    block.assign("seven segments", 14);
    block.reallocate(4096);
    block.resize(5);
    EXPECT_EQ(text_of(block), "seven");
    EXPECT_EQ(block.capacity(), 5u);
    block.assign("ven", 3);
    EXPECT_EQ(text_of(block), "ven");
    block.assign(nullptr, 0);
    EXPECT_EQ(block.data(), nullptr);
}

TEST(mem_block, a_reservation_is_kept_until_more_is_asked_for_or_its_memory_was_given_back) {
    mem_block block{0};
    block.reserve(64);
    const auto* const memory = block.data();
    block.assign("0123456789", 10);
    block.resize(0);
    EXPECT_EQ(block.data(), memory);
    EXPECT_EQ(block.capacity(), 64u);
    block.resize(100);
    block.reallocate(8);
    block.resize(48);
    EXPECT_EQ(block.capacity(), 48u) << "the reservation is no room to write into";
    block.release();
    EXPECT_EQ(block.reserved() + block.size() + block.capacity(), 0u);
}

// Runs in a process of its own that may have no more memory than it has.
bool stays_as_it_was_without_memory() {
    mem_block block{16};
    block.assign("kept", 4);
    const rlimit none{256u << 20u, 256u << 20u};
    ::setrlimit(RLIMIT_AS, &none);
    try {
        block.assign("", 0xFFFF'FFFF);
    } catch (const zel::memory_exception& fault) {
        return std::string_view{fault.what()} == "Block Memory Allocation Failed" && text_of(block) == "kept";
    }
    return false;
}

TEST(mem_block, memory_that_runs_out_is_reported_and_the_block_stays_as_it_was) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "a sanitizer's shadow memory does not fit below the limit";
#endif
    EXPECT_EXIT(std::_Exit(stays_as_it_was_without_memory() ? 0 : 1), testing::ExitedWithCode(0), "");
}

}  // namespace
