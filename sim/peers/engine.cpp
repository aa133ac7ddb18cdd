#include "sim/peers/engine.h"

#include "platform/paths.h"
#include "sim/root/violations.h"

#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <utility>

namespace sim {

namespace {

struct command_t {
    std::string_view word;
    std::size_t fields;
};

constexpr std::array<command_t, 6> commands{
    {{"create", 2}, {"get", 2}, {"set", 3}, {"monitor", 2}, {"list", 2}, {"get_all", 1}}};

bool is_request(const zel::frame::field_list_t& fields) {
    for (const auto& command : commands) {
        if (command.word == fields[0]) {
            return command.fields == fields.size();
        }
    }
    return false;
}

std::string printable(std::string_view bytes) {
    std::string text{bytes};
    std::replace_if(
        text.begin(), text.end(), [](char byte) { return byte < ' ' || byte > '~'; }, '.');
    return text;
}

}  // namespace

engine_t::engine_t() : service_t{std::string{zel::paths::property_engine}} {}

engine_t::~engine_t() {
    shut_down();
}

void engine_t::set(const std::string& name, const std::string& value) {
    on_service_thread([&] { store(name, value); });
}

std::optional<std::string> engine_t::get(const std::string& name) const {
    const std::lock_guard lock{lock_};
    const auto found = properties_.find(name);
    return found == properties_.end() ? std::nullopt : std::optional{found->second};
}

std::map<std::string, std::string> engine_t::properties() const {
    const std::lock_guard lock{lock_};
    return properties_;
}

std::vector<std::string> engine_t::requests() const {
    const std::lock_guard lock{lock_};
    return requests_;
}

void engine_t::answer_reads(std::optional<std::size_t> count) {
    on_service_thread([&] { reads_left_ = count; });
}

void engine_t::stay_silent(bool silent) {
    on_service_thread([&] { silent_ = silent; });
}

void engine_t::send_raw(const std::string& bytes) {
    on_service_thread([&] {
        for (const auto& [fd, client] : clients_) {
            deliver(fd, bytes);
        }
    });
}

void engine_t::drop_clients() {
    on_service_thread([this] {
        for (const auto& [fd, client] : clients_) {
            ::shutdown(fd, SHUT_RDWR);
        }
    });
}

void engine_t::half_close_clients() {
    on_service_thread([this] {
        for (const auto& [fd, client] : clients_) {
            ::shutdown(fd, SHUT_WR);
        }
    });
}

void engine_t::on_connect(int fd) {
    clients_.try_emplace(fd);
}

void engine_t::on_disconnect(int fd) {
    clients_.erase(fd);
}

void engine_t::stopped() {
    clients_.clear();
}

void engine_t::received(int fd, std::string_view bytes) {
    auto& client = clients_[fd];
    client.buffer.storage().append(bytes);
    while (!client.buffer.empty() && take_request(fd, client)) {
    }
}

// False when there is nothing more to take.
bool engine_t::take_request(int fd, client_t& client) {
    const auto stream = client.buffer.unread();
    zel::frame::field_list_t request;
    const auto taken = zel::frame::decode(stream, request);
    if (taken == 0 && zel::frame::starts_like_frame(stream)) {
        return false;
    }
    client.buffer.consume(taken);
    if (taken != 0 && is_request(request)) {
        note(request);
        return perform(fd, client, request);
    }
    report_violation("property engine: no request: " + printable(stream.substr(0, 60)));
    ::shutdown(fd, SHUT_RDWR);
    client.buffer.consume(client.buffer.size());
    return false;
}

void engine_t::note(const zel::frame::field_list_t& request) {
    std::string line{request[0]};
    for (std::size_t i = 1; i < request.size(); ++i) {
        line.append(" ").append(request[i]);
    }
    const std::lock_guard lock{lock_};
    requests_.push_back(std::move(line));
}

bool engine_t::perform(int fd, client_t& client, const zel::frame::field_list_t& request) {
    const auto command = request[0];
    const std::string name{request[1]};
    if (command == "create") {
        const std::lock_guard lock{lock_};
        known_.insert(name);
    } else if (command == "list" || command == "get_all") {
        answer_list(fd, name);
    } else if (command == "get") {
        answer_get(fd, name);
    } else if (!is_known(name)) {
        answer(fd, "error", "no_property", name);
    } else if (command == "set") {
        store(name, std::string{request[2]});
    } else {
        client.monitored.insert(name);
    }
    return true;
}

bool engine_t::is_known(const std::string& name) const {
    const std::lock_guard lock{lock_};
    return known_.contains(name);
}

void engine_t::answer_get(int fd, const std::string& name) {
    if (reads_left_) {
        if (*reads_left_ == 0) {
            return;
        }
        --*reads_left_;
    }
    if (const auto value = get(name)) {
        answer(fd, "get_response", name, *value);
    } else {
        answer(fd, "error", "no_property", name);
    }
}

void engine_t::answer_list(int fd, const std::string& prefix) {
    bool found = false;
    for (const auto& [name, value] : properties()) {
        if (name.starts_with(prefix)) {
            answer(fd, "get_response", name, value);
            found = true;
        }
    }
    if (!found) {
        answer(fd, "error", "no_property", prefix);
    }
}

void engine_t::store(const std::string& name, const std::string& value) {
    {
        const std::lock_guard lock{lock_};
        known_.insert(name);
        const auto [property, created] = properties_.try_emplace(name);
        if (std::exchange(property->second, value) == value && !created) {
            return;
        }
    }
    for (const auto& [fd, client] : clients_) {
        if (client.monitored.contains(name)) {
            answer(fd, "changed", name, value);
        }
    }
    if (observer_) {
        observer_(name, value);
    }
}

void engine_t::answer(int fd, std::string_view type, std::string_view name, std::string_view value) {
    if (!silent_) {
        deliver(fd, zel::frame::encode({type, name, value}));
    }
}

// A client that does not take its bytes has lost the thread of its stream: better gone than confused.
void engine_t::deliver(int fd, std::string_view bytes) {
    constexpr int patience_ms = 5000;  // a busy machine may stop a client for a second
    while (!bytes.empty()) {
        const auto sent = send(fd, bytes.data(), bytes.size(), patience_ms);
        if (sent < 1) {
            ::shutdown(fd, SHUT_RDWR);
            return;
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
}

}  // namespace sim
