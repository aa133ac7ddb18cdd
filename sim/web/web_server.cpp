#include "sim/web/web_server.h"

#include "platform/paths.h"
#include "sim/root/unit_root.h"
#include "sim/unit/daemon_process.h"
#include "sim/unit/unit.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

namespace sim {

namespace {

namespace fs = std::filesystem;

sockaddr_in local_address(unsigned port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = ::htonl(INADDR_LOOPBACK);
    address.sin_port = ::htons(static_cast<std::uint16_t>(port));
    return address;
}

unsigned free_port() {
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    auto address = local_address(0);
    socklen_t size = sizeof address;
    auto* const any = reinterpret_cast<sockaddr*>(&address);
    const bool found =
        socket >= 0 && ::bind(socket, any, size) == 0 && ::getsockname(socket, any, &size) == 0;
    ::close(socket);
    if (!found) {
        throw std::system_error{errno, std::generic_category(), "no port for the web server"};
    }
    return ::ntohs(address.sin_port);
}

bool accepts(unsigned port) {
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const auto address = local_address(port);
    const bool connected =
        ::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    ::close(socket);
    return connected;
}

std::string lighttpd() {
    for (const auto* const place : {"/usr/sbin/lighttpd", "/usr/bin/lighttpd", "/usr/local/sbin/lighttpd"}) {
        if (::access(place, X_OK) == 0) {
            return place;
        }
    }
    throw std::runtime_error{"lighttpd is not installed (Debian: lighttpd)"};
}

// How the status file and its page are served on every unit, for this unit's directory.
std::string packaged_settings(const std::string& www) {
    auto settings = read_file(FWSTATUS_SOURCE_DIRECTORY "/packaging/web/fwstatus.lighttpd");
    const auto directory = zel::paths::www_directory.substr(0, zel::paths::www_directory.size() - 1);
    for (auto at = settings.find(directory); at != std::string::npos;
         at = settings.find(directory, at + www.size())) {
        settings.replace(at, directory.size(), www);
    }
    return settings;
}

}  // namespace

web_server_t::web_server_t(std::string root, unsigned port)
    : root_{std::move(root)}, port_{port == 0 ? free_port() : port} {}

web_server_t::~web_server_t() {
    kill();
}

std::string web_server_t::configuration() const {
    const auto www = root_ + std::string{zel::paths::www_directory};
    const std::string text = R"(server.modules = ( "mod_setenv", "mod_cgi" )
server.bind = "127.0.0.1"
server.port = )" + std::to_string(port_) +
                             R"(
server.document-root = ")" + www +
                             R"("
server.errorlog = ")" + root_ +
                             R"(/sim/web_server.log"
server.upload-dirs = ( ")" + root_ +
                             R"(/tmp" )
index-file.names = ( "fw_status.html" )
mimetype.assign = ( ".html" => "text/html; charset=utf-8" )
# An upload is handed on while it arrives, not kept first.
server.stream-request-body = 2
setenv.set-environment = ( "FWSTATUS_UNIT_ROOT" => ")" +
                             root_ + R"(" )
$HTTP["url"] =~ "^/cgi-bin/" { cgi.assign = ( "" => "" ) }
)";
    return text + packaged_settings(www);
}

void web_server_t::install_programs() const {
    const auto www = root_ + std::string{zel::paths::www_directory};
    const auto directory = www + "cgi-bin";
    fs::remove(www + "fw_status.html");
    fs::create_symlink(FWSTATUS_SOURCE_DIRECTORY "/web/fw_status.html", www + "fw_status.html");
    fs::remove_all(directory);
    fs::create_directories(directory);
    fs::create_symlink(built_program("sim/programs", "hw_config"), directory + "/hw_config");
    if (offers_upload_) {
        fs::create_symlink(built_program("sim/programs", "fw_upload"), directory + "/fw_upload");
    }
}

void web_server_t::start() {
    install_programs();
    const auto file = root_ + "/sim/web_server.conf";
    const auto log = root_ + "/sim/web_server.log";
    std::ofstream{file} << configuration();
    const auto program = lighttpd();
    const pid_t parent = ::getpid();
    process_ = ::fork();
    if (process_ == 0) {
        ::setpgid(0, 0);  // to end it together with what it runs, and not with a Ctrl-C meant for others
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        const int output = ::open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
        ::dup2(output, STDOUT_FILENO);
        ::dup2(output, STDERR_FILENO);
        if (::getppid() == parent) {
            ::execl(program.c_str(), program.c_str(), "-D", "-f", file.c_str(), nullptr);
        }
        ::_exit(127);
    }
    ::setpgid(process_, process_);
    const bool ended =
        !wait_until([&] { return ::waitpid(process_, nullptr, WNOHANG) != 0 || accepts(port_); });
    if (ended || !accepts(port_)) {
        kill();
        throw std::runtime_error{"the web server does not start\n" + read_file(log)};
    }
}

void web_server_t::kill() {
    if (process_ > 0) {
        ::kill(-process_, SIGKILL);
        ::waitpid(process_, nullptr, 0);
    }
    process_ = 0;
}

}  // namespace sim
