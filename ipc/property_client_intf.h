#pragma once

#include <string>

namespace zel {

/// What the users of the property engine see of its client. The order of the operations is binary interface.
/// Nothing here throws. An owner deletes the object as what it made it, not through this interface.
class property_client_intf_t {
  public:
    property_client_intf_t() = default;
    property_client_intf_t(const property_client_intf_t&) = delete;
    property_client_intf_t& operator=(const property_client_intf_t&) = delete;

    /// One attempt, which does not block. @return false when the engine cannot be reached.
    virtual bool connect() = 0;
    /// @return what the system's close returned: -1 when there was no connection.
    virtual int close() = 0;
    [[nodiscard]] virtual bool is_connected() = 0;

    // Requests. Each sends one message and waits for no answer; while the engine takes no bytes, a second at
    // most per part of the message. False when it was not sent whole; the connection stays open. Name and
    // value together stay within `frame::max_texts`.
    virtual bool create(const std::string& name) = 0;
    virtual bool get(const std::string& name) = 0;
    virtual bool set(const std::string& name, const std::string& value) = 0;
    virtual bool list(const std::string& argument) = 0;
    virtual bool monitor(const std::string& name) = 0;

    /// Reads a property: asks for it and takes the next message, waiting for it `timeout_ms` milliseconds.
    /// @param value  what was read, empty when it failed or when there is no such property.
    /// @return true for a value, also for a property that does not exist. False when no message arrives (with
    ///         a line in the log) and when the next message is another one, which is then lost.
    virtual bool wait_for_something(const std::string& name, std::string& value, int timeout_ms) = 0;

  protected:
    ~property_client_intf_t() = default;
};

}  // namespace zel
