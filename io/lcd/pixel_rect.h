#pragma once

#include <algorithm>

namespace io {

/// A rectangle of pixels of the screen, every bound included. Empty when a bound lies before its opposite.
struct pixel_rect_t {
    int left = 0;
    int top = 0;
    int right = 0;
    int bottom = 0;

    bool operator==(const pixel_rect_t&) const = default;

    [[nodiscard]] constexpr bool empty() const { return right < left || bottom < top; }
    [[nodiscard]] constexpr int width() const { return right - left + 1; }
    [[nodiscard]] constexpr int height() const { return bottom - top + 1; }

    /// What two rectangles have in common.
    [[nodiscard]] constexpr pixel_rect_t clipped_to(const pixel_rect_t& bounds) const {
        return {std::max(left, bounds.left), std::max(top, bounds.top), std::min(right, bounds.right),
                std::min(bottom, bounds.bottom)};
    }
    /// The smallest rectangle that holds both; an empty one adds nothing.
    [[nodiscard]] constexpr pixel_rect_t joined_with(const pixel_rect_t& other) const {
        if (empty()) {
            return other;
        }
        if (other.empty()) {
            return *this;
        }
        return {std::min(left, other.left), std::min(top, other.top), std::max(right, other.right),
                std::max(bottom, other.bottom)};
    }
};

inline constexpr pixel_rect_t no_pixels{0, 0, -1, -1};

}  // namespace io
