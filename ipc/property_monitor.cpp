#include "ipc/property_monitor.h"

#include <utility>

namespace zel {

property_monitor_t::property_monitor_t(std::string name) : name_{std::move(name)} {
    client_.connect();
    client_.create(name_);
    client_.wait_for_something(name_, value_, 1000);
    client_.monitor(name_);
}

std::string property_monitor_t::current_value() {
    std::string type;
    std::string name;
    std::string value;
    while (client_.receive_message(type, name, value, 0)) {
        if (type == "changed" && name == name_) {
            value_ = value;
        }
    }
    return value_;
}

bool property_monitor_t::set_value(const std::string& value) {
    value_ = value;
    return client_.set(name_, value_);
}

}  // namespace zel
