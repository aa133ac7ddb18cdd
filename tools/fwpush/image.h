#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <span>
#include <string>

namespace fwpush {

/// A firmware image on this machine: read once for its hash, and then in pieces while it is sent. It is never
/// held in memory.
class image_t {
  public:
    /// Reads the file through. Throws std::runtime_error, which names it, when it is no regular file, empty,
    /// or cannot be read.
    explicit image_t(const std::string& path);
    image_t(const image_t&) = delete;
    image_t& operator=(const image_t&) = delete;
    ~image_t();

    [[nodiscard]] std::int64_t size() const { return status_.st_size; }
    /// SHA-256, 64 lower-case hexadecimal digits.
    [[nodiscard]] const std::string& hash() const { return hash_; }

    /// Reads from `offset` on. @return how many bytes; -1 when they cannot be read, or when the file is no
    /// longer what the hash was made of.
    [[nodiscard]] std::int64_t read(std::int64_t offset, std::span<char> into) const;

  private:
    [[nodiscard]] bool has_changed() const;
    void make_hash(const std::string& path);

    int fd_;
    struct stat status_ {};
    std::string hash_;
};

}  // namespace fwpush
