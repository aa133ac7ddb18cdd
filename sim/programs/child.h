#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

/// A program run beside this one, in the foreground as it were. It ends with this object, and with the thread
/// that started it.
class child_t {
  public:
    /// @param command  program and arguments.
    /// @param output   file for what it prints; empty: where this program prints.
    /// Throws std::system_error when no process can be made.
    child_t(const std::vector<std::string>& command, const std::string& output);
    child_t(const child_t&) = delete;
    child_t& operator=(const child_t&) = delete;
    ~child_t();

    [[nodiscard]] bool is_running();
    /// Asks it to end (SIGTERM) and waits until it has.
    void end();
    /// Once it has ended: 0 to 255, or 128 + n when signal n ended it.
    [[nodiscard]] int exit_status() const { return exit_status_; }

  private:
    void note_end(int status);

    pid_t pid_ = 0;
    int exit_status_ = -1;
};

/// A program on a terminal of its own.
class terminal_child_t {
  public:
    /// @param columns  of the terminal, which has 24 lines. Throws std::system_error when there is none.
    terminal_child_t(const std::vector<std::string>& command, unsigned columns);
    terminal_child_t(const terminal_child_t&) = delete;
    terminal_child_t& operator=(const terminal_child_t&) = delete;
    ~terminal_child_t();

    /// Takes what it prints for so long. @return false once it has ended.
    bool read_for(std::chrono::milliseconds time);
    /// Everything printed so far.
    [[nodiscard]] const std::string& output() const { return output_; }
    [[nodiscard]] int exit_status() const { return exit_status_; }

  private:
    pid_t pid_ = 0;
    int terminal_ = -1;
    std::string output_;
    int exit_status_ = -1;
};
