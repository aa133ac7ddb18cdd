#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace zel {

/// Bytes received and not yet consumed. Consuming costs nothing: what was consumed is moved out of the way
/// when the next bytes arrive, and only once it is the larger part, so that every byte is moved once or
/// twice however many frames a burst holds. Allocates only to hold more than it ever held before.
class receive_buffer_t {
  public:
    /// Valid until the next call of `storage`, consumed or not.
    [[nodiscard]] std::string_view unread() const { return std::string_view{bytes_}.substr(consumed_); }
    [[nodiscard]] std::size_t size() const { return bytes_.size() - consumed_; }
    [[nodiscard]] bool empty() const { return size() == 0; }

    /// @param count  at most `size()`.
    void consume(std::size_t count) { consumed_ += count; }

    /// The string to append newly received bytes to.
    [[nodiscard]] std::string& storage();

  private:
    std::string bytes_;
    std::size_t consumed_ = 0;
};

}  // namespace zel
