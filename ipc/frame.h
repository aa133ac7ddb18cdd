#pragma once

#include <array>
#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>

/// The wire format of the property engine. Functions without state.
///
/// A message is a list of fields (byte strings), a frame is one message on the wire, and frames follow each
/// other with nothing between them:
///
///     offset  size
///     0       9     "ipc_magic"
///     9       2     payload length P
///     11      P     payload: for each field its length N (2 bytes) and its N bytes
///
/// Lengths are unsigned and in the byte order of the host: both ends live on the same unit.
namespace zel::frame {

inline constexpr std::string_view magic = "ipc_magic";
inline constexpr std::size_t header_size = magic.size() + 2;

/// The longest payload that its length can tell, and the longest frame there is.
inline constexpr std::size_t max_payload = 0xFFFF;
inline constexpr std::size_t max_size = header_size + max_payload;

/// What the texts of a request may have together: a payload less three lengths and the longest command word.
inline constexpr std::size_t max_texts =
    max_payload - std::size_t{3} * 2 - std::string_view{"monitor"}.size();

/// The fields of one decoded message, as views into the bytes they were decoded from. No message has more
/// than three fields: of a longer one the first three and the number of all are kept, for whoever reports it.
class field_list_t {
  public:
    static constexpr std::size_t kept = 3;

    [[nodiscard]] std::size_t size() const { return count_; }
    [[nodiscard]] bool empty() const { return count_ == 0; }
    /// The field of that index; empty when there is none, or when it is not among the first three.
    [[nodiscard]] std::string_view operator[](std::size_t index) const {
        return index < kept ? first_[index] : std::string_view{};
    }

    void add(std::string_view field);

  private:
    std::array<std::string_view, kept> first_{};
    std::size_t count_ = 0;
};

/// The frame of a message. Lengths are written as their low 16 bits: the caller keeps the fields, their
/// lengths included, within `max_payload`.
[[nodiscard]] std::string encode(std::initializer_list<std::string_view> fields);

/// Whether `stream` can be the beginning of a frame, as far as it goes. Nothing at all can.
[[nodiscard]] bool starts_like_frame(std::string_view stream);

/// How many bytes to skip until what remains starts like a frame. Linear in the result.
[[nodiscard]] std::size_t garbage_length(std::string_view stream);

/// Takes the frame at the start of `stream` apart. Erases nothing: the fields are views into the stream, and
/// the caller drops the frame when it is done with them.
/// @param fields  cleared first. Stays empty when there is no whole frame yet, and for a frame that holds no
///                field: no payload, or a first field that claims more than the payload holds. A field that
///                is cut short ends the list.
/// @return how many bytes to drop: 0 when there is no whole frame, otherwise the frame's size, also when it
///         held no field.
[[nodiscard]] std::size_t decode(std::string_view stream, field_list_t& fields);

}  // namespace zel::frame
