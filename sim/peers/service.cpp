#include "sim/peers/service.h"

#include "ipc/unix_stream_socket.h"

#include <cerrno>
#include <chrono>
#include <stdexcept>
#include <utility>

namespace sim {

namespace {

// The server waits for events on its sockets and nothing else. A client that says this and goes wakes it.
constexpr std::string_view bell_sound = "\asim";
constexpr std::chrono::milliseconds moment{1};

}  // namespace

service_t::service_t(std::string path) : ipc_server_t{path}, path_{std::move(path)} {}

bool service_t::start() {
    shut_down();
    ended_ = false;
    thread_ = std::thread{[this] { serve(); }};
    while (!is_listening() && !ended_) {
        std::this_thread::sleep_for(moment);
    }
    if (ended_) {
        shut_down();
        return false;
    }
    return true;
}

void service_t::shut_down() {
    if (thread_.joinable()) {
        stop = true;
        static_cast<void>(ring());  // unheard, it takes the server up to a second to see for itself
        thread_.join();
    }
}

void service_t::serve() {
    {
        const std::lock_guard lock{calls_lock_};
        serving_ = std::this_thread::get_id();
    }
    run();
    {
        const std::lock_guard lock{calls_lock_};
        serving_ = {};
    }
    run_calls();
    stopped();
    ended_ = true;
}

bool service_t::ring() {
    zel::unix_stream_socket_t bell{path_};
    while (is_listening() && !bell.connect()) {
        if (errno != EAGAIN) {
            return false;
        }
        std::this_thread::sleep_for(moment);  // more clients wait to be accepted than the server lets queue
    }
    bell.send(bell_sound.data(), bell_sound.size());
    return true;
}

void service_t::on_data(int fd, const char* bytes, std::size_t length) {
    const std::string_view text{bytes, length};
    if (text == bell_sound) {
        run_calls();
        return;
    }
    while (stalled_ && !stop) {
        std::this_thread::sleep_for(moment);
    }
    received(fd, text);
}

void service_t::on_service_thread(const std::function<void()>& call) {
    call_t entry{&call};
    {
        const std::lock_guard lock{calls_lock_};
        if (serving_ != std::thread::id{} && serving_ != std::this_thread::get_id()) {
            calls_.push_back(&entry);
        } else {
            entry.run = nullptr;
        }
    }
    if (entry.run == nullptr) {
        call();
        return;
    }
    const bool heard = ring();
    std::unique_lock lock{calls_lock_};
    if (!heard && std::erase(calls_, &entry) != 0) {
        throw std::runtime_error{"nobody listens at " + path_ + ": its socket file is gone"};
    }
    call_done_.wait(lock, [&entry] { return entry.done; });
}

void service_t::run_calls() {
    std::vector<call_t*> calls;
    {
        const std::lock_guard lock{calls_lock_};
        calls.swap(calls_);
    }
    for (auto* const entry : calls) {
        (*entry->run)();
    }
    const std::lock_guard lock{calls_lock_};
    for (auto* const entry : calls) {
        entry->done = true;
    }
    call_done_.notify_all();
}

}  // namespace sim
