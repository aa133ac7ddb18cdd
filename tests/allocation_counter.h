#pragma once

#include <cstddef>
#include <cstdlib>
#include <new>

// Counts what a thread takes from the heap. For one source file of a program: the program's operators new and
// delete are defined here.

namespace sim {

inline thread_local std::size_t allocations = 0;

}  // namespace sim

// Not to be inlined: the compiler takes a visible malloc and free for a mismatch with new and delete.
// NOLINTBEGIN(misc-definitions-in-headers): operators that replace the library's must not be inline
[[gnu::noinline]] void* operator new(std::size_t size) {
    ++sim::allocations;
    if (void* const memory = std::malloc(size == 0 ? 1 : size)) {
        return memory;
    }
    throw std::bad_alloc{};
}

[[gnu::noinline]] void operator delete(void* memory) noexcept {
    std::free(memory);
}

[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
// NOLINTEND(misc-definitions-in-headers)
