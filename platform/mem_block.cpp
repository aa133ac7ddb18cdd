#include "platform/mem_block.h"

#include "platform/exceptions.h"

#include <cstdlib>
#include <cstring>

namespace zel {

mem_block::mem_block(std::uint32_t size) {
    if (size != 0) {
        resize(size);
    }
}

mem_block::~mem_block() {
    mem_block::release();
}

void mem_block::reallocate(std::uint32_t capacity) {
    if (capacity == capacity_) {
        return;
    }
    if (capacity == 0) {
        release();
        return;
    }
    void* const memory = std::realloc(data_, capacity);
    if (memory == nullptr) {
        throw memory_exception{};
    }
    data_ = static_cast<std::byte*>(memory);
    capacity_ = capacity;
}

void mem_block::reserve(std::uint32_t capacity) {
    reallocate(capacity);
    reserved_ = capacity;
}

void mem_block::resize(std::uint32_t size) {
    // A reservation counts only while its memory is there: `reallocate` may have taken it away since.
    const bool fits_reservation = reserved_ != 0 && size <= reserved_ && size <= capacity_;
    if (!fits_reservation) {
        reallocate(size);
    }
    size_ = size;
}

void mem_block::assign(const void* source, std::uint32_t size) {
    resize(size);
    if (data_ != nullptr && source != nullptr) {
        std::memcpy(data_, source, size);
    }
}

void mem_block::release() {
    std::free(data_);
    data_ = nullptr;
    size_ = 0;
    capacity_ = 0;
    reserved_ = 0;
}

}  // namespace zel
