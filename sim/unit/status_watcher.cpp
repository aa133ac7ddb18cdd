#include "sim/unit/status_watcher.h"

#include "sim/root/unit_root.h"

#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <random>
#include <utility>

namespace sim {

namespace {

// Ten milliseconds on average, and not in step with the daemon, which has the same period.
std::chrono::milliseconds until_next_read() {
    static std::minstd_rand random;
    return std::chrono::milliseconds{std::uniform_int_distribution{5, 15}(random)};
}

}  // namespace

std::string status_element(const std::string& text, const std::string& name) {
    const auto open = "<" + name + ">";
    const auto begin = text.find(open);
    const auto end = text.find("</" + name + ">");
    if (begin == std::string::npos || end == std::string::npos) {
        return {};
    }
    return text.substr(begin + open.size(), end - begin - open.size());
}

status_watcher_t::status_watcher_t(std::string path)
    : path_{std::move(path)}, thread_{&status_watcher_t::watch, this} {}

status_watcher_t::~status_watcher_t() {
    stop_ = true;
    thread_.join();
}

void status_watcher_t::watch() {
    const int notifications = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    const auto directory = std::filesystem::path{path_}.parent_path().string();
    ::inotify_add_watch(notifications, directory.c_str(), IN_CLOSE_WRITE);
    auto next_read = std::chrono::steady_clock::now();
    while (!stop_) {
        pollfd event{notifications, POLLIN, 0};
        ::poll(&event, 1, 2);
        count_rewrites(notifications);
        if (std::chrono::steady_clock::now() >= next_read) {
            next_read += until_next_read();
            read_as_client();
        }
    }
    ::close(notifications);
}

void status_watcher_t::count_rewrites(int notifications) {
    alignas(inotify_event) std::array<char, 4096> buffer{};
    const auto length = ::read(notifications, buffer.data(), buffer.size());
    long rewrites = 0;
    for (ssize_t at = 0; at < length;) {
        inotify_event event{};
        std::memcpy(&event, buffer.data() + at, sizeof event);
        at += static_cast<ssize_t>(sizeof event + event.len);
        ++rewrites;
    }
    if (rewrites == 0) {
        return;
    }
    const std::lock_guard lock{mutex_};
    counters_.rewrites += rewrites;
    if (!states_.empty() && states_.back() != "idle") {
        counters_.active_rewrites += rewrites;
    }
}

void status_watcher_t::read_as_client() {
    auto text = read_file(path_);
    const std::lock_guard lock{mutex_};
    if (text.empty() && text_.empty()) {
        return;  // the daemon has not written yet
    }
    ++counters_.reads;
    if (text.find("</status>\r\n") == std::string::npos) {
        ++counters_.short_reads;
        return;
    }
    note_whole_file(std::move(text));
}

void status_watcher_t::note_whole_file(std::string text) {
    auto state = status_element(text, "state");
    if (states_.empty() || states_.back() != state) {
        states_.push_back(std::move(state));
    }
    text_ = std::move(text);
}

status_watcher_t::counters_t status_watcher_t::counters() const {
    const std::lock_guard lock{mutex_};
    return counters_;
}

std::string status_watcher_t::text() const {
    const std::lock_guard lock{mutex_};
    return text_;
}

std::string status_watcher_t::element(const std::string& name) const {
    return status_element(text(), name);
}

std::vector<std::string> status_watcher_t::states() const {
    const std::lock_guard lock{mutex_};
    return states_;
}

}  // namespace sim
