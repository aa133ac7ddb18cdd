#pragma once

#include "sim/root/guardian.h"
#include "sim/root/unit_definition.h"

#include <string>
#include <string_view>

namespace sim {

/// The directory that stands for a unit's "/": made on construction with every file that the unit's
/// definition promises, and made this process's unit root; removed on destruction, or when this process ends
/// without one, by its guardian.
///
///     sim::unit_root_t unit{*sim::find_unit("page-station")};
///     unit.write_file("/proc/cpuinfo", "");
///
/// Its name is short ("/dev/shm/fwu.XXXXXX"), since a socket path ends at 107 characters. A program started
/// with the environment variable FWSTATUS_UNIT_ROOT set to `path()` is on the same unit: "sim/unit" below the
/// root says which board to build. Throws std::runtime_error when the directory cannot be made or has no
/// room.
class unit_root_t {
  public:
    explicit unit_root_t(const unit_definition_t& definition);
    unit_root_t(const unit_root_t&) = delete;
    unit_root_t& operator=(const unit_root_t&) = delete;
    ~unit_root_t();

    [[nodiscard]] const unit_definition_t& definition() const { return definition_; }
    /// The directory itself, without a slash at its end.
    [[nodiscard]] const std::string& path() const { return guardian_.directory(); }
    /// Where a path of the unit lies.
    [[nodiscard]] std::string file(std::string_view unit_path) const {
        return path() + std::string{unit_path};
    }

    [[nodiscard]] const guardian_t& guardian() const { return guardian_; }

    /// Writes a file of the unit anew, with the directories that lead to it. Throws std::system_error.
    void write_file(std::string_view unit_path, std::string_view content) const;
    /// The file's content; empty when there is none.
    [[nodiscard]] std::string read_file(std::string_view unit_path) const;
    void remove_file(std::string_view unit_path) const;
    /// Makes a file of `size` zero bytes that takes no room, as it stands for a device or a shared state.
    void make_sparse_file(std::string_view unit_path, std::size_t size) const;

  private:
    void populate() const;

    unit_definition_t definition_;
    guardian_t guardian_;
};

/// The content of a file of this machine; empty when it cannot be read.
[[nodiscard]] std::string read_file(const std::string& path);

/// The definition that "sim/unit" below this process's unit root describes, for a process that did not make
/// the root itself. A plain base unit when there is no such file.
[[nodiscard]] unit_definition_t definition_of_this_unit();

}  // namespace sim
