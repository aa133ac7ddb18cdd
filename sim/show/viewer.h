#pragma once

#include "sim/show/display_view.h"
#include "sim/unit/scenario.h"
#include "sim/unit/unit.h"

#include <chrono>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

/// Shows a running unit on standard output: a screen that is painted over again on a terminal, a log that a
/// person can follow elsewhere. Where a terminal is small, headings and blank lines go first, then the
/// display gets smaller.
class viewer_t {
  public:
    /// @param live  paint a screen; otherwise print a log.
    viewer_t(unit_t& unit, display_view_t* display, const scenario_t& scenario, bool live);
    viewer_t(const viewer_t&) = delete;
    viewer_t& operator=(const viewer_t&) = delete;
    ~viewer_t();

    /// Shows how things stand.
    /// @param elapsed  since the start of the scenario.
    /// @param footer   lines for the bottom of a painted screen.
    void show(std::chrono::milliseconds elapsed, const std::vector<std::string>& footer = {});

  private:
    void paint(std::chrono::milliseconds elapsed, const std::vector<std::string>& footer);
    [[nodiscard]] std::string title(std::chrono::milliseconds elapsed) const;
    [[nodiscard]] std::vector<std::string> status_lines(unsigned columns) const;
    [[nodiscard]] std::string notification_line() const;
    [[nodiscard]] std::vector<std::string> display_lines(unsigned columns, std::size_t room) const;
    void print_changes(std::chrono::milliseconds elapsed);
    void print_if_new(std::chrono::milliseconds elapsed, const std::string& subject, const std::string& text,
                      const std::string& sameness);

    unit_t& unit_;
    display_view_t* display_;
    const scenario_t& scenario_;
    bool live_;
    std::map<std::string, std::string> printed_;
};

/// Columns and rows of the terminal on standard output; as many as anything needs when it is none.
[[nodiscard]] unsigned terminal_columns();
[[nodiscard]] unsigned terminal_rows();

}  // namespace sim
