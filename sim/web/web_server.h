#pragma once

#include <sys/types.h>

#include <string>

namespace sim {

/// The unit's web server: Debian's lighttpd on the unit's www directory, with the unit's two CGI programs
/// below /cgi-bin/. It ends with this object, or with the thread that started it.
class web_server_t {
  public:
    /// @param root  directory that stands for the unit's "/".
    /// @param port  of 127.0.0.1; 0 takes a free one.
    web_server_t(std::string root, unsigned port);
    web_server_t(const web_server_t&) = delete;
    web_server_t& operator=(const web_server_t&) = delete;
    ~web_server_t();

    /// Whether /cgi-bin/fw_upload is there; for the next start.
    void offer_upload(bool offered) { offers_upload_ = offered; }
    /// Starts it and waits until it answers. Throws std::runtime_error, with what it printed, when it does
    /// not.
    void start();
    /// Ends it, and every CGI program it runs, at once.
    void kill();

    [[nodiscard]] unsigned port() const { return port_; }
    /// "http://127.0.0.1:8080"
    [[nodiscard]] std::string url() const { return "http://127.0.0.1:" + std::to_string(port_); }

  private:
    [[nodiscard]] std::string configuration() const;
    void install_programs() const;

    std::string root_;
    unsigned port_;
    bool offers_upload_ = true;
    pid_t process_ = 0;
};

}  // namespace sim
