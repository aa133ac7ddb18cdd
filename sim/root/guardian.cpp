#include "sim/root/guardian.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <system_error>

namespace sim {

namespace {

constexpr unsigned long room_of_a_unit = 8 << 20;

std::string place_for_units() {
    if (const char* const place = std::getenv("FWSTATUS_UNITS")) {
        return place;
    }
    // A unit keeps in memory what changes all the time: a disk's file system takes its time to empty a file.
    return ::access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
}

void check_room(const std::string& place) {
    struct statvfs status {};
    if (::statvfs(place.c_str(), &status) != 0) {
        throw std::system_error{errno, std::generic_category(), place};
    }
    if (const auto room = static_cast<unsigned long long>(status.f_bavail) * status.f_frsize;
        room < room_of_a_unit) {
        throw std::runtime_error{place + " is full: " + std::to_string(room >> 10) +
                                 " kB are free, a unit needs " + std::to_string(room_of_a_unit >> 10) +
                                 ". FWSTATUS_UNITS=DIRECTORY puts units elsewhere"};
    }
}

pid_t spawn(int socket, const std::string& pattern) {
    posix_spawnattr_t attributes;
    ::posix_spawnattr_init(&attributes);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
    posix_spawn_file_actions_t files;
    ::posix_spawn_file_actions_init(&files);
    ::posix_spawn_file_actions_adddup2(&files, socket, STDIN_FILENO);
    if (::isatty(STDOUT_FILENO) == 0) {
        ::posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, "/dev/null", O_RDWR, 0);
    }
    ::posix_spawn_file_actions_addopen(&files, STDERR_FILENO, "/dev/null", O_RDWR, 0);
    std::array<std::string, 3> words{"/bin/sh", FWSTATUS_GUARDIAN, pattern};
    std::array<char*, 4> arguments{words[0].data(), words[1].data(), words[2].data(), nullptr};
    pid_t process = 0;
    const int error = ::posix_spawn(&process, arguments[0], &files, &attributes, arguments.data(), environ);
    ::posix_spawn_file_actions_destroy(&files);
    ::posix_spawnattr_destroy(&attributes);
    if (error != 0) {
        throw std::system_error{error, std::generic_category(), arguments[0]};
    }
    return process;
}

std::string read_line(int socket) {
    std::string line;
    for (char byte = 0; ::read(socket, &byte, 1) == 1 && byte != '\n';) {
        line += byte;
    }
    return line;
}

// For the signal handler.
volatile sig_atomic_t socket_to_end = -1;
volatile sig_atomic_t process_to_await = 0;

void end_cleaned_up(int signal_number) {
    ::shutdown(socket_to_end, SHUT_WR);
    ::waitpid(process_to_await, nullptr, 0);
    static_cast<void>(::signal(signal_number, SIG_DFL));
    ::raise(signal_number);
}

}  // namespace

guardian_t::guardian_t() {
    const auto place = place_for_units();
    check_room(place);
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        throw std::system_error{errno, std::generic_category(), "no socket for a guardian"};
    }
    socket_ = ends[0];
    process_ = spawn(ends[1], place + "/fwu.XXXXXX");
    ::close(ends[1]);
    directory_ = read_line(socket_);
    if (::access(directory_.c_str(), W_OK) != 0) {
        throw std::runtime_error{"cannot make a unit's directory: " + directory_};
    }
}

guardian_t::~guardian_t() {
    ::shutdown(socket_, SHUT_WR);  // a process that was forked meanwhile may hold the socket too
    ::waitpid(process_, nullptr, 0);
    ::close(socket_);
    if (process_to_await == process_) {
        process_to_await = 0;
    }
}

void guardian_t::end_on_signals() const {
    socket_to_end = socket_;
    process_to_await = process_;
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) {
        static_cast<void>(::signal(number, end_cleaned_up));
    }
}

void guardian_t::say(const std::string& line) const {
    const auto text = line + '\n';
    [[maybe_unused]] const auto sent = ::send(socket_, text.data(), text.size(), MSG_NOSIGNAL);
}

}  // namespace sim
