#pragma once

#include <string>
#include <string_view>

namespace firmware {

/// The XML file in which a unit's web server shows the update.
///
/// Rewritten in place, without a temporary file. A reader may therefore find it short or empty for a moment;
/// it is emptied and written with one call each to keep that moment small.
class status_file_t {
  public:
    /// @param path  where the file lies on this machine.
    explicit status_file_t(std::string path);

    /// Writes the whole file. Texts go in as they are, without escaping. A file that cannot be opened is left
    /// alone without a word: the next pass tries again. Allocates only for a detail longer than any before.
    void write(std::string_view state, int progress, std::string_view detail);

  private:
    void save() const;

    std::string path_;
    std::string text_;
};

}  // namespace firmware
