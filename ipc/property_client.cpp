#include "ipc/property_client.h"

#include "platform/log.h"
#include "platform/paths.h"

namespace zel {

property_client_t::property_client_t() : socket_{std::string{paths::property_engine}} {}

bool property_client_t::connect() {
    burst_ = 0;
    return socket_.connect();
}

int property_client_t::close() {
    return socket_.close();
}

bool property_client_t::is_connected() {
    return socket_.fd() >= 0;
}

bool property_client_t::create(const std::string& name) {
    return send_message({"create", name});
}

bool property_client_t::get(const std::string& name) {
    return send_message({"get", name});
}

bool property_client_t::set(const std::string& name, const std::string& value) {
    return send_message({"set", name, value});
}

bool property_client_t::list(const std::string& argument) {
    return send_message({"list", argument});
}

bool property_client_t::monitor(const std::string& name) {
    return send_message({"monitor", name});
}

bool property_client_t::get_all() {
    return send_message({"get_all"});
}

bool property_client_t::send_message(std::initializer_list<std::string_view> fields) {
    return send_frame(frame::encode(fields));
}

bool property_client_t::send_frame(std::string_view bytes) {
    constexpr int patience_ms = 1000;
    while (!bytes.empty() && socket_.wait_writable(patience_ms)) {
        const auto sent = socket_.send(bytes.data(), bytes.size());
        if (sent < 0) {
            break;
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return bytes.empty();
}

bool property_client_t::receive_message(std::string& type, std::string& name, std::string& value,
                                        int timeout_ms) {
    type.clear();
    name.clear();
    value.clear();
    frame::field_list_t fields;
    const bool found = next_frame(fields, timeout_ms);
    bool result = found;
    if (found && fields.size() == 3) {
        type = fields[0];
        name = fields[1];
        value = fields[2];
    } else if (found) {
        type = "error";
        name = "bad_payload";
        result = !rx_buffer_.empty();
    }
    return result;
}

bool property_client_t::next_frame(frame::field_list_t& fields, int timeout_ms) {
    // A drain takes what had arrived, and comes to an end also when the engine sends faster than we take it.
    constexpr std::size_t longest_burst = 262'144;
    const auto may_read = [&] { return timeout_ms != 0 || burst_ < longest_burst; };
    bool readable = may_read() && socket_.wait_readable(0);
    while (true) {
        const bool arrived = readable && take_bytes();
        if (take_frame(fields)) {
            return true;
        }
        // Without time to wait, a socket just found empty is not asked again. One that is said to be readable
        // and gives nothing is in error: waiting for it would not wait.
        if (readable ? !arrived : timeout_ms == 0) {
            break;
        }
        readable = may_read() && socket_.wait_readable(timeout_ms);
        if (!readable) {
            break;
        }
    }
    burst_ = 0;
    return false;
}

// True when the buffer may hold something new.
bool property_client_t::take_bytes() {
    // One frame is taken for each read of up to 64 KiB. An engine that sends without end has to wait for us
    // rather than fill our memory; two frames of the largest size still are in the buffer then.
    if (rx_buffer_.size() > 2 * frame::max_size) {
        return true;
    }
    const auto arrived = socket_.append_available(rx_buffer_.storage());
    burst_ = arrived < unix_stream_socket_t::most_at_once ? 0 : burst_ + arrived;
    return arrived > 0;
}

bool property_client_t::take_frame(frame::field_list_t& fields) {
    rx_buffer_.consume(frame::garbage_length(rx_buffer_.unread()));
    rx_buffer_.consume(frame::decode(rx_buffer_.unread(), fields));
    return !fields.empty();
}

bool property_client_t::wait_for_something(const std::string& name, std::string& value, int timeout_ms) {
    get(name);
    std::string type;
    std::string reply_name;
    if (!receive_message(type, reply_name, value, timeout_ms)) {
        log_error_s{} << "property_client_t::wait_for_something failed looking for " << name;
        return false;
    }
    if (type == "get_response" && reply_name == name) {
        return true;
    }
    value.clear();
    return type == "error" && reply_name == "no_property";
}

}  // namespace zel
