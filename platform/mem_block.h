#pragma once

#include <cstddef>
#include <cstdint>

namespace zel {

/// An owned block of raw memory, up to 4 GiB - 1 bytes, that reports a failed allocation with
/// `zel::memory_exception` and is then as it was before.
///
/// Without a reservation the block is reallocated to the exact size on every change of size. Fresh bytes are
/// not initialised. The memory comes from malloc, so `data` is aligned for every plain type; it moves when
/// the capacity changes.
class mem_block {
  public:
    /// @param size  bytes; 0 allocates nothing.
    explicit mem_block(std::uint32_t size);
    mem_block(const mem_block&) = delete;
    mem_block& operator=(const mem_block&) = delete;
    virtual ~mem_block();

    /// Makes the allocation exactly `capacity` bytes; 0 frees the block. `size` stays what it is, so a
    /// capacity below it leaves the rest of the bytes in use without memory: follow with `resize`.
    void reallocate(std::uint32_t capacity);
    /// `reallocate`, and holds that capacity for later changes of size that fit into it.
    void reserve(std::uint32_t capacity);
    /// Bytes that are in use before and after stay; fresh ones are not initialised.
    void resize(std::uint32_t size);
    /// Resizes to `size` and copies as many bytes in. They must not lie in the block itself, whose memory the
    /// change of size moves or gives back. Without a source the bytes stay as they are.
    void assign(const void* source, std::uint32_t size);
    /// Frees the memory and forgets the reservation.
    void release();

    /// Null when nothing is allocated.
    [[nodiscard]] std::byte* data() { return data_; }
    [[nodiscard]] const std::byte* data() const { return data_; }
    /// Bytes in use.
    [[nodiscard]] std::uint32_t size() const { return size_; }
    /// Bytes allocated.
    [[nodiscard]] std::uint32_t capacity() const { return capacity_; }
    /// The capacity set by `reserve`; 0 when there is none.
    [[nodiscard]] std::uint32_t reserved() const { return reserved_; }

  private:
    std::byte* data_ = nullptr;
    std::uint32_t size_ = 0;
    std::uint32_t capacity_ = 0;
    std::uint32_t reserved_ = 0;
};

}  // namespace zel
