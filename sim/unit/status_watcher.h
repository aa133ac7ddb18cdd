#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace sim {

/// Reads the status file as a web server's client would, every 10 ms, and counts how often the daemon
/// rewrites it. Runs on a thread of its own from construction to destruction.
class status_watcher_t {
  public:
    struct counters_t {
        long reads = 0;
        long short_reads = 0;      ///< found empty or cut off
        long rewrites = 0;         ///< one for every pass of the daemon
        long active_rewrites = 0;  ///< those in which an update was active
    };

    /// @param path  the status file on this machine; its directory must exist.
    explicit status_watcher_t(std::string path);
    status_watcher_t(const status_watcher_t&) = delete;
    status_watcher_t& operator=(const status_watcher_t&) = delete;
    ~status_watcher_t();

    [[nodiscard]] counters_t counters() const;
    /// The file as last read whole.
    [[nodiscard]] std::string text() const;
    /// The text of an element, without the markup.
    [[nodiscard]] std::string element(const std::string& name) const;
    /// The states that the file has shown, in order, without repetitions.
    [[nodiscard]] std::vector<std::string> states() const;

  private:
    void watch();
    void read_as_client();
    void note_whole_file(std::string text);
    void count_rewrites(int notifications);

    std::string path_;
    mutable std::mutex mutex_;
    counters_t counters_;
    std::string text_;
    std::vector<std::string> states_;
    std::atomic<bool> stop_ = false;
    std::thread thread_;
};

/// The text of an element of a status file.
[[nodiscard]] std::string status_element(const std::string& text, const std::string& name);

}  // namespace sim
