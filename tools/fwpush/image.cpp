#include "tools/fwpush/image.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <vector>

namespace fwpush {

namespace {

constexpr std::size_t piece = 262'144;
constexpr const char* changes = "the image changes while it is read";

std::runtime_error fault(const std::string& path, const std::string& what) {
    return std::runtime_error{path + ": " + what};
}

std::int64_t read_at(int fd, std::int64_t offset, std::span<char> into) {
    for (;;) {
        const auto count = ::pread(fd, into.data(), into.size(), offset);
        if (count >= 0 || errno != EINTR) {
            return count;
        }
    }
}

}  // namespace

image_t::image_t(const std::string& path)
    : fd_{::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)} {  // a FIFO is not waited for
    if (fd_ < 0) {
        throw fault(path, std::strerror(errno));
    }
    try {
        if (::fstat(fd_, &status_) != 0) {
            throw fault(path, std::strerror(errno));
        }
        if (!S_ISREG(status_.st_mode)) {
            throw fault(path, "no regular file");
        }
        if (status_.st_size == 0) {
            throw fault(path, "the image is empty");
        }
        make_hash(path);
    } catch (...) {
        ::close(fd_);
        throw;
    }
}

image_t::~image_t() {
    ::close(fd_);
}

void image_t::make_hash(const std::string& path) {
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context{EVP_MD_CTX_new(), &EVP_MD_CTX_free};
    std::vector<char> buffer(piece);
    bool works = context != nullptr && EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr) == 1;
    std::int64_t offset = 0;
    while (works && offset < size()) {
        const auto count = read_at(fd_, offset, buffer);
        if (count <= 0) {
            throw fault(path, count < 0 ? std::strerror(errno) : changes);
        }
        works = EVP_DigestUpdate(context.get(), buffer.data(), static_cast<std::size_t>(count)) == 1;
        offset += count;
    }
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned length = 0;
    if (!works || EVP_DigestFinal_ex(context.get(), digest.data(), &length) != 1) {
        throw fault(path, "its SHA-256 cannot be made");
    }
    if (has_changed()) {
        throw fault(path, changes);
    }
    constexpr const char* digits = "0123456789abcdef";
    for (unsigned i = 0; i < length; ++i) {
        hash_ += digits[digest.at(i) >> 4U];
        hash_ += digits[digest.at(i) & 15U];
    }
}

bool image_t::has_changed() const {
    struct stat now {};
    return ::fstat(fd_, &now) != 0 || now.st_size != status_.st_size ||
           now.st_mtim.tv_sec != status_.st_mtim.tv_sec || now.st_mtim.tv_nsec != status_.st_mtim.tv_nsec;
}

std::int64_t image_t::read(std::int64_t offset, std::span<char> into) const {
    const auto left = size() - offset;
    if (left <= 0) {
        return has_changed() ? -1 : 0;
    }
    const auto wanted = std::min<std::size_t>(into.size(), static_cast<std::size_t>(left));
    const auto count = read_at(fd_, offset, into.first(wanted));
    return count <= 0 || has_changed() ? -1 : count;
}

}  // namespace fwpush
