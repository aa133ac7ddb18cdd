#include "sim/unit/daemon_process.h"

#include "sim/root/unit_root.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <sstream>
#include <thread>

namespace sim {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    std::transform(texts.begin(), texts.end(), std::back_inserter(result),
                   [](std::string& text) { return text.data(); });
    result.push_back(nullptr);
    return result;
}

[[noreturn]] void run(pid_t parent, std::vector<std::string> command, std::vector<std::string> environment,
                      const std::string& log_path) {
    // From its environment on the program is known to whoever cleans up; until then it ends with its parent.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent) {
        ::_exit(1);
    }
    for (char** entry = environ; *entry != nullptr; ++entry) {
        environment.emplace_back(*entry);
    }
    const int log = ::open(log_path.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
    ::dup2(log, STDOUT_FILENO);
    ::dup2(log, STDERR_FILENO);
    ::close(log);
    ::execvpe(command.front().c_str(), pointers(command).data(), pointers(environment).data());
    std::perror(command.front().c_str());
    ::_exit(127);
}

// Waits for a child to end, at most so long.
std::optional<int> wait_for(pid_t child, std::chrono::milliseconds patience) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    int status = 0;
    while (::waitpid(child, &status, WNOHANG) != child) {
        if (std::chrono::steady_clock::now() > deadline) {
            return std::nullopt;
        }
        std::this_thread::sleep_for(2ms);
    }
    return status;
}

// The children of this process; the kernel keeps the list per thread.
std::vector<pid_t> children() {
    std::vector<pid_t> found;
    for (const auto& task : fs::directory_iterator{"/proc/self/task"}) {
        std::ifstream list{task.path() / "children"};
        std::copy(std::istream_iterator<pid_t>{list}, {}, std::back_inserter(found));
    }
    return found;
}

std::string proc(pid_t pid, const char* name) {
    return "/proc/" + std::to_string(pid) + "/" + name;
}

}  // namespace

daemon_process_t::~daemon_process_t() {
    kill();
}

int daemon_process_t::start(const std::vector<std::string>& command,
                            const std::vector<std::string>& environment, const std::string& log_path,
                            std::chrono::milliseconds patience) {
    // What detaches from its parent becomes a child of this process, not of init.
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    const auto before = children();
    const pid_t parent = ::getpid();
    const pid_t starter = ::fork();
    if (starter == 0) {
        run(parent, command, environment, log_path);
    }
    const auto status = wait_for(starter, patience);
    if (!status) {
        ::kill(starter, SIGKILL);
        ::waitpid(starter, nullptr, 0);
        return -1;
    }
    adopt(before);
    return WIFEXITED(*status) ? WEXITSTATUS(*status) : 128 + WTERMSIG(*status);
}

// A single new child is the daemon, whatever has become of it. Of two it is the one that has detached, or is
// about to.
void daemon_process_t::adopt(const std::vector<pid_t>& before) {
    const auto leads_session = [](pid_t child) { return ::getsid(child) == child; };
    std::vector<pid_t> adopted;
    const auto deadline = std::chrono::steady_clock::now() + 20s;
    do {
        std::this_thread::sleep_for(1ms);
        adopted = children();
        std::erase_if(adopted, [&](pid_t child) { return std::ranges::find(before, child) != before.end(); });
        std::partition(adopted.begin(), adopted.end(), leads_session);
    } while (adopted.size() > 1 && !leads_session(adopted.front()) &&
             std::chrono::steady_clock::now() < deadline);
    pid_ = adopted.empty() ? 0 : adopted[0];
    companion_ = adopted.size() < 2 ? 0 : adopted[1];
}

bool daemon_process_t::is_running() {
    if (pid_ != 0 && ::waitpid(pid_, &wait_status_, WNOHANG) == pid_) {
        pid_ = 0;
    }
    return pid_ != 0;
}

void daemon_process_t::kill() {
    if (is_running()) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, &wait_status_, 0);
        pid_ = 0;
    }
    end_companion();
}

void daemon_process_t::end_companion() {
    if (companion_ != 0) {
        ::kill(companion_, SIGTERM);
        if (!wait_for(companion_, 5s)) {
            ::kill(companion_, SIGKILL);
            ::waitpid(companion_, nullptr, 0);
        }
        companion_ = 0;
    }
}

std::chrono::milliseconds daemon_process_t::cpu_time() const {
    const auto text = read_file(proc(pid_, "stat"));
    // The name in brackets may hold anything; the fields behind it are numbered from 3.
    std::istringstream fields{text.substr(std::min(text.size(), text.rfind(')') + 2))};
    std::string skipped;
    for (int field = 3; field < 14; ++field) {
        fields >> skipped;
    }
    long user = 0;
    long system = 0;
    fields >> user >> system;
    return std::chrono::milliseconds{(user + system) * 1000 / ::sysconf(_SC_CLK_TCK)};
}

int daemon_process_t::open_descriptors() const {
    std::error_code none;
    const fs::directory_iterator all{proc(pid_, "fd"), none};
    return static_cast<int>(std::distance(begin(all), end(all)));
}

int daemon_process_t::lasting_descriptors() const {
    int fewest = open_descriptors();
    for (int look = 0; look < 10; ++look) {
        std::this_thread::sleep_for(3ms);
        fewest = std::min(fewest, open_descriptors());
    }
    return fewest;
}

long daemon_process_t::resident_bytes() const {
    std::ifstream file{proc(pid_, "statm")};
    long pages = 0;
    file >> pages >> pages;
    return pages * ::sysconf(_SC_PAGESIZE);
}

std::vector<std::string> emulator_command() {
    std::istringstream words{FWSTATUS_EMULATOR};
    return {std::istream_iterator<std::string>{words}, {}};
}

std::string built_program(const std::string& folder, const std::string& name) {
    const auto self = fs::read_symlink("/proc/self/exe");
    for (auto build = self.parent_path(); build.has_relative_path(); build = build.parent_path()) {
        if (const auto program = build / folder / name; fs::exists(program)) {
            return program.string();
        }
    }
    throw std::runtime_error{"there is no " + folder + "/" + name + " in the build of " + self.string()};
}

}  // namespace sim
