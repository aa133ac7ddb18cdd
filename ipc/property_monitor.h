#pragma once

#include "ipc/property_client.h"

#include <string>

namespace zel {

/// Follows one property on a connection of its own. Throws nothing: when the engine cannot be reached the
/// value stays empty.
class property_monitor_t {
  public:
    /// Connects, creates the property, reads its value (waiting a second at most) and asks for its changes.
    explicit property_monitor_t(std::string name);

    /// The value after every change that has arrived. Does not wait.
    [[nodiscard]] std::string current_value();

    /// Sets the property, here and in the engine. @return whether the request was sent.
    bool set_value(const std::string& value);

  private:
    property_client_t client_;
    std::string name_;
    std::string value_;
};

}  // namespace zel
