#pragma once

#include "ipc/frame.h"
#include "ipc/property_client_intf.h"
#include "ipc/receive_buffer.h"
#include "ipc/unix_stream_socket.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace zel {

/// The client of the unit's property engine, on its socket "/tmp/.korv_property_ipc". Single-threaded use;
/// every user has a client of its own. Constructed without a connection.
class property_client_t : public property_client_intf_t {
  public:
    property_client_t();
    virtual ~property_client_t() = default;

    bool connect() override;
    int close() override;
    [[nodiscard]] bool is_connected() override;
    bool create(const std::string& name) override;
    bool get(const std::string& name) override;
    bool set(const std::string& name, const std::string& value) override;
    bool list(const std::string& argument) override;
    bool monitor(const std::string& name) override;
    bool wait_for_something(const std::string& name, std::string& value, int timeout_ms) override;

    /// Asks for every property.
    bool get_all();

    /// Sends bytes as they are; waits up to a second for room before every part the socket takes.
    /// @return whether all were sent.
    bool send_frame(std::string_view bytes);

    /// Takes one message. Bytes ahead of a frame that belong to none are skipped, and so is a frame without
    /// any field, which does not end the wait.
    ///
    /// A message that has not exactly three fields is handed out as type "error", name "bad_payload"; the
    /// result then tells whether more bytes are at hand, so that a loop that drains the client goes on.
    ///
    /// @param timeout_ms  starts anew whenever bytes arrive that complete no frame. 0 takes what has arrived,
    ///                    a negative value waits without end.
    /// @return false, with empty texts, when no message came in time, or none will come since the engine has
    ///         gone or shut down its side. With time-out 0 also after 256 KiB during which the socket was
    ///         never read empty, so that a loop that drains the client ends although the engine sends faster
    ///         than we take; the next call goes on from there.
    bool receive_message(std::string& type, std::string& name, std::string& value, int timeout_ms);

  private:
    [[nodiscard]] bool send_message(std::initializer_list<std::string_view> fields);
    [[nodiscard]] bool next_frame(frame::field_list_t& fields, int timeout_ms);
    [[nodiscard]] bool take_bytes();
    [[nodiscard]] bool take_frame(frame::field_list_t& fields);

    unix_stream_socket_t socket_;
    receive_buffer_t rx_buffer_;
    std::size_t burst_ = 0;  ///< bytes read since the socket was last empty, or a drain was ended
};

}  // namespace zel
