#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

namespace sim {

/// A daemon run as on a unit: the program is started, detaches, and its parent's exit status is taken; the
/// detached process is found again as this process's adopted child, that which leads a session of its own. A
/// wrapper may leave a process beside it, as `strace -D` does. Both are killed on destruction.
class daemon_process_t {
  public:
    daemon_process_t() = default;
    daemon_process_t(const daemon_process_t&) = delete;
    daemon_process_t& operator=(const daemon_process_t&) = delete;
    ~daemon_process_t();

    /// Starts the program and waits until it has detached or failed.
    /// @param command      program and arguments; a wrapper such as strace may come first.
    /// @param environment  "NAME=value" additions.
    /// @param log_path     where its standard output and error go.
    /// @return the exit status of the starting process, 128 + n when signal n ended it, -1 when it never
    ///         ended within `patience`.
    int start(const std::vector<std::string>& command, const std::vector<std::string>& environment,
              const std::string& log_path, std::chrono::milliseconds patience);

    /// The detached process; 0 when there is none.
    [[nodiscard]] pid_t pid() const { return pid_; }
    [[nodiscard]] bool is_running();
    /// How it ended, as `waitpid` tells it; meaningful once it no longer runs.
    [[nodiscard]] int wait_status() const { return wait_status_; }
    void kill();
    /// Asks the process that a wrapper left beside the daemon to end, and waits for it. The daemon runs on.
    void end_companion();

    /// Its processor time so far, open descriptors, and resident memory in bytes.
    [[nodiscard]] std::chrono::milliseconds cpu_time() const;
    [[nodiscard]] int open_descriptors() const;
    /// Descriptors that stay open: the fewest of several looks, as a pass holds the status file for a moment.
    [[nodiscard]] int lasting_descriptors() const;
    [[nodiscard]] long resident_bytes() const;

  private:
    void adopt(const std::vector<pid_t>& before);

    pid_t pid_ = 0;
    pid_t companion_ = 0;
    int wait_status_ = 0;
};

/// What runs a program of this build on this machine: an emulator and its arguments in a cross build, nothing
/// otherwise.
[[nodiscard]] std::vector<std::string> emulator_command();

/// Path of a program of this build: the directory of the running program's sibling `folder`, then `name`.
[[nodiscard]] std::string built_program(const std::string& folder, const std::string& name);

}  // namespace sim
