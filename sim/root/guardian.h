#pragma once

#include <sys/types.h>

#include <string>

namespace sim {

/// A process that outlives this one, whatever becomes of it (SIGKILL included), and then sees to it that
/// nothing of a simulated unit is left: the unit's directory, processes marked with `mark`, files, the
/// terminal's state. It leads a session of its own, so that no Ctrl-C reaches it.
class guardian_t {
  public:
    /// Lets it make the unit's directory, in shared memory where there is such a place, else in "/tmp",
    /// or where the environment variable FWSTATUS_UNITS says. Its name is short.
    /// Throws std::runtime_error when that has no room for a unit or cannot be written to.
    guardian_t();
    guardian_t(const guardian_t&) = delete;
    guardian_t& operator=(const guardian_t&) = delete;
    /// Waits until all is cleaned up.
    ~guardian_t();

    [[nodiscard]] const std::string& directory() const { return directory_; }
    /// "NAME=value" for the environment of a process that is to end with the unit.
    [[nodiscard]] std::string mark() const { return "FWSTATUS_UNIT_MARK=" + directory_; }

    /// The terminal on standard output shows its other screen, or its first one again.
    void note_screen(bool other) const { say(other ? "screen other" : "screen first"); }
    /// One more file to remove.
    void note_file(const std::string& path) const { say("file " + path); }

    /// From here on SIGINT, SIGTERM, SIGHUP and SIGPIPE end this process after the guardian has cleaned up,
    /// so that a shell's prompt comes after that. For a program with one guardian.
    void end_on_signals() const;

  private:
    void say(const std::string& line) const;

    int socket_ = -1;
    pid_t process_ = 0;
    std::string directory_;
};

}  // namespace sim
