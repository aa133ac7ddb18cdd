#pragma once

#include "ipc/frame.h"
#include "ipc/receive_buffer.h"
#include "sim/peers/service.h"

#include <cstddef>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace sim {

/// The property engine of the simulated unit, on "/tmp/.korv_property_ipc" below the unit's root.
///
/// What it makes of each request (every message it sends has three fields):
///
/// | request             | effect and answer                                                             |
/// |---------------------|-------------------------------------------------------------------------------|
/// | create NAME         | makes NAME known, without a value for now. No answer                          |
/// | get NAME            | "get_response", NAME, value                                                   |
/// | set NAME, VALUE     | stores the value. No answer; "changed", NAME, VALUE to every client that      |
/// |                     | monitors NAME, the sender included, when the value differs from the last      |
/// | monitor NAME        | "changed" messages from now on. No answer                                     |
/// | list PREFIX         | one "get_response" for every property whose name begins so, in name order     |
/// | get_all             | the same for all properties                                                   |
///
/// get, list and get_all that find no value, and set and monitor of a NAME that is not known, are answered
/// with "error", "no_property", NAME. Anything else is no request: a wrong number of fields, another word,
/// bytes that are no frame. It is reported as a violation and ends the connection.
///
/// All operations may be called from any thread.
class engine_t final : public service_t {
  public:
    using observer_t = std::function<void(const std::string& name, const std::string& value)>;

    engine_t();
    ~engine_t();

    /// Sets a property, creating it if need be. The clients have been notified on return.
    void set(const std::string& name, const std::string& value);
    [[nodiscard]] std::optional<std::string> get(const std::string& name) const;
    [[nodiscard]] std::map<std::string, std::string> properties() const;

    /// What is called on the engine's thread after every set that changed a value, whoever set. To be given
    /// before `start`.
    void observe(observer_t observer) { observer_ = std::move(observer); }

    /// The requests taken so far, as the command and its arguments with a blank between.
    [[nodiscard]] std::vector<std::string> requests() const;

    // Ways to fail.

    /// Answers that many more get requests and ignores those after; nothing answers all again.
    void answer_reads(std::optional<std::size_t> count);
    /// Takes requests and sends nothing at all, notifications included.
    void stay_silent(bool silent);
    /// Sends bytes as they are to every client.
    void send_raw(const std::string& bytes);
    /// Ends every connection.
    void drop_clients();
    /// Shuts down the sending side of every connection.
    void half_close_clients();

  private:
    struct client_t {
        zel::receive_buffer_t buffer;
        std::set<std::string, std::less<>> monitored;
    };

    void on_connect(int fd) override;
    void on_disconnect(int fd) override;
    void received(int fd, std::string_view bytes) override;
    void stopped() override;

    [[nodiscard]] bool take_request(int fd, client_t& client);
    [[nodiscard]] bool perform(int fd, client_t& client, const zel::frame::field_list_t& request);
    void note(const zel::frame::field_list_t& request);
    [[nodiscard]] bool is_known(const std::string& name) const;
    void answer_get(int fd, const std::string& name);
    void answer_list(int fd, const std::string& prefix);
    void store(const std::string& name, const std::string& value);
    void answer(int fd, std::string_view type, std::string_view name, std::string_view value);
    void deliver(int fd, std::string_view bytes);

    // The engine's thread only.
    std::map<int, client_t> clients_;
    observer_t observer_;
    std::optional<std::size_t> reads_left_;
    bool silent_ = false;

    mutable std::mutex lock_;  // for what follows
    std::set<std::string> known_;
    std::map<std::string, std::string> properties_;
    std::vector<std::string> requests_;
};

}  // namespace sim
