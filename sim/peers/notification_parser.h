#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

/// One notification text of the daemon, taken from the stream.
struct notification_t {
    enum class kind_e { begin, state, progress };
    kind_e kind{};
    std::string value;  ///< the display name or the number; empty for begin

    bool operator==(const notification_t&) const = default;
};

/// Splits the undelimited texts "fw_update_begin", "fw_update_state " + display name and
/// "fw_update_progress " + number (-1 or 0 to 100) again, wherever the stream was cut.
///
/// A number may go on in the next bytes: it is handed out when it cannot, or by `settle`.
class notification_parser_t {
  public:
    /// What became whole with these bytes.
    [[nodiscard]] std::vector<notification_t> feed(std::string_view bytes);

    /// What a long silence makes whole: the number at the end.
    [[nodiscard]] std::vector<notification_t> settle();

    /// What the end of the stream makes whole. The rest counts as garbage.
    [[nodiscard]] std::vector<notification_t> finish();

    /// Bytes that belong to no notification.
    [[nodiscard]] std::size_t garbage() const { return garbage_; }
    /// Bytes that wait for more.
    [[nodiscard]] bool pending() const { return !stream_.empty(); }

  private:
    [[nodiscard]] bool take(std::vector<notification_t>& whole, bool at_end);

    std::string stream_;
    std::size_t garbage_ = 0;
};

}  // namespace sim
