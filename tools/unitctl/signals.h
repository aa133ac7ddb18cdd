#pragma once

#include <array>
#include <csignal>
#include <cstddef>

namespace tools::unitctl {

/// While it lives, Ctrl-C is noted rather than obeyed, and so is who ends the process or closes its terminal.
/// One at a time.
class caught_signals_t {
  public:
    enum class then_e {
        forget,  ///< for what ends by itself when it is told
        obey,  ///< for what must not be left half done: a signal noted, also of a pipe that nobody reads, is
               ///< raised when the object goes
    };
    explicit caught_signals_t(then_e then);
    caught_signals_t(const caught_signals_t&) = delete;
    caught_signals_t& operator=(const caught_signals_t&) = delete;
    ~caught_signals_t();

    /// Whether one has come since this was made.
    [[nodiscard]] static bool any();

  private:
    static constexpr std::array signals{SIGINT, SIGTERM, SIGHUP, SIGPIPE};
    std::size_t count_;
    then_e then_;
    std::array<struct sigaction, signals.size()> previous_{};
};

}  // namespace tools::unitctl
