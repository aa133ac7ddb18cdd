#include "sim/peers/notification_service.h"

#include "platform/paths.h"
#include "sim/root/violations.h"

#include <string>
#include <utility>

namespace sim {

notification_service_t::notification_service_t() : service_t{std::string{zel::paths::notification_service}} {}

notification_service_t::~notification_service_t() {
    shut_down();
}

notification_service_t::counts_t notification_service_t::counts() {
    const std::lock_guard lock{lock_};
    settle();
    return counts_;
}

std::vector<notification_t> notification_service_t::received_so_far() {
    const std::lock_guard lock{lock_};
    settle();
    return {received_.begin(), received_.end()};
}

void notification_service_t::forget_received() {
    const std::lock_guard lock{lock_};
    settle();
    received_.clear();
}

void notification_service_t::on_connect(int fd) {
    const std::lock_guard lock{lock_};
    clients_.try_emplace(fd);
}

void notification_service_t::on_disconnect(int fd) {
    const std::lock_guard lock{lock_};
    finish(clients_[fd]);
    clients_.erase(fd);
}

void notification_service_t::stopped() {
    const std::lock_guard lock{lock_};
    for (auto& [fd, client] : clients_) {
        finish(client);
    }
    clients_.clear();
}

void notification_service_t::received(int fd, std::string_view bytes) {
    const std::lock_guard lock{lock_};
    auto& client = clients_[fd];
    client.last_bytes = clock_t::now();
    keep(client.parser.feed(bytes));
}

// At the end of a client's stream.
void notification_service_t::finish(client_t& client) {
    keep(client.parser.finish());
    if (const auto garbage = client.parser.garbage(); garbage != 0) {
        counts_.garbage_bytes += garbage;
        report_violation("notification service: " + std::to_string(garbage) +
                         " bytes that belong to no notification");
    }
    client.parser = {};
}

void notification_service_t::settle() {
    constexpr std::chrono::milliseconds silence{250};
    for (auto& [fd, client] : clients_) {
        if (client.parser.pending() && clock_t::now() - client.last_bytes > silence) {
            keep(client.parser.settle());
        }
    }
}

void notification_service_t::keep(std::vector<notification_t> notifications) {
    constexpr std::size_t most = 10'000;
    for (auto& notification : notifications) {
        switch (notification.kind) {
        case notification_t::kind_e::begin:
            ++counts_.begins;
            break;
        case notification_t::kind_e::state:
            ++counts_.states;
            break;
        case notification_t::kind_e::progress:
            ++counts_.progresses;
            break;
        }
        received_.push_back(std::move(notification));
        if (received_.size() > most) {
            received_.pop_front();
        }
    }
}

}  // namespace sim
