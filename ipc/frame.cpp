#include "ipc/frame.h"

#include <cstdint>
#include <cstring>

namespace zel::frame {

namespace {

constexpr std::size_t length_size = sizeof(std::uint16_t);

void append_length(std::string& bytes, std::size_t length) {
    const auto word = static_cast<std::uint16_t>(length);
    std::array<char, length_size> raw{};
    std::memcpy(raw.data(), &word, length_size);
    bytes.append(raw.data(), length_size);
}

// `bytes` holds at least two.
std::size_t length_at_start(std::string_view bytes) {
    std::uint16_t word = 0;
    std::memcpy(&word, bytes.data(), length_size);
    return word;
}

}  // namespace

void field_list_t::add(std::string_view field) {
    if (count_ < kept) {
        first_[count_] = field;
    }
    ++count_;
}

std::string encode(std::initializer_list<std::string_view> fields) {
    std::size_t payload = 0;
    for (const auto field : fields) {
        payload += length_size + field.size();
    }
    std::string bytes;
    bytes.reserve(header_size + payload);
    bytes += magic;
    append_length(bytes, payload);
    for (const auto field : fields) {
        append_length(bytes, field.size());
        bytes += field;
    }
    return bytes;
}

bool starts_like_frame(std::string_view stream) {
    const auto start = stream.substr(0, magic.size());
    return start == magic.substr(0, start.size());
}

std::size_t garbage_length(std::string_view stream) {
    std::size_t position = 0;
    while (!starts_like_frame(stream.substr(position))) {
        position = stream.find(magic.front(), position + 1);
        if (position == std::string_view::npos) {
            return stream.size();
        }
    }
    return position;
}

std::size_t decode(std::string_view stream, field_list_t& fields) {
    fields = {};
    if (stream.size() < header_size || !starts_like_frame(stream)) {
        return 0;
    }
    auto payload = stream.substr(header_size);
    const auto payload_length = length_at_start(stream.substr(magic.size()));
    if (payload.size() < payload_length) {
        return 0;
    }
    payload = payload.substr(0, payload_length);
    while (payload.size() >= length_size) {
        const auto length = length_at_start(payload);
        payload.remove_prefix(length_size);
        if (length > payload.size()) {
            break;
        }
        fields.add(payload.substr(0, length));
        payload.remove_prefix(length);
    }
    return header_size + payload_length;
}

}  // namespace zel::frame
