#include "tools/fwpush/transfers.h"

#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace fwpush {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::size_t events_at_once = 64;

int events_of(int what) {
    const unsigned read = (what & CURL_POLL_IN) != 0 ? EPOLLIN : 0U;
    const unsigned write = (what & CURL_POLL_OUT) != 0 ? EPOLLOUT : 0U;
    return static_cast<int>(read | write);
}

int selected_by(unsigned events) {
    unsigned selected = 0;
    if ((events & EPOLLIN) != 0) {
        selected |= CURL_CSELECT_IN;
    }
    if ((events & EPOLLOUT) != 0) {
        selected |= CURL_CSELECT_OUT;
    }
    if ((events & (EPOLLERR | EPOLLHUP)) != 0) {
        selected |= CURL_CSELECT_ERR;
    }
    return static_cast<int>(selected);
}

}  // namespace

transfers_t::transfers_t(std::size_t units)
    : epoll_{::epoll_create1(EPOLL_CLOEXEC)}, multi_{curl_multi_init()} {
    if (epoll_ < 0) {
        throw std::system_error{errno, std::generic_category(), "epoll"};
    }
    if (multi_ == nullptr) {
        ::close(epoll_);
        throw std::runtime_error{"libcurl cannot be set up"};
    }
    curl_multi_setopt(multi_, CURLMOPT_SOCKETFUNCTION, &transfers_t::on_socket);
    curl_multi_setopt(multi_, CURLMOPT_SOCKETDATA, this);
    curl_multi_setopt(multi_, CURLMOPT_TIMERFUNCTION, &transfers_t::on_timer);
    curl_multi_setopt(multi_, CURLMOPT_TIMERDATA, this);
    curl_multi_setopt(multi_, CURLMOPT_MAXCONNECTS, static_cast<long>(units + 1));
}

transfers_t::~transfers_t() {
    curl_multi_cleanup(multi_);
    ::close(epoll_);
}

void transfers_t::begin(CURL* handle) {
    curl_multi_add_handle(multi_, handle);
}

void transfers_t::abort(CURL* handle) {
    curl_multi_remove_handle(multi_, handle);
}

int transfers_t::on_socket(CURL* /*handle*/, curl_socket_t socket, int what, void* self, void* known) {
    static_cast<transfers_t*>(self)->watch(socket, what, known != nullptr);
    return 0;
}

void transfers_t::watch(curl_socket_t socket, int what, bool known) {
    if (what == CURL_POLL_REMOVE) {
        ::epoll_ctl(epoll_, EPOLL_CTL_DEL, socket, nullptr);
        return;
    }
    epoll_event event{};
    event.events = static_cast<unsigned>(events_of(what));
    event.data.fd = socket;
    ::epoll_ctl(epoll_, known ? EPOLL_CTL_MOD : EPOLL_CTL_ADD, socket, &event);
    if (!known) {
        curl_multi_assign(multi_, socket, this);  // anything but null: known from now on
    }
}

int transfers_t::on_timer(CURLM* /*multi*/, long time, void* self) {
    auto& transfers = *static_cast<transfers_t*>(self);
    transfers.deadline_.reset();
    if (time >= 0) {
        transfers.deadline_ = steady_clock::now() + milliseconds{time};
    }
    return 0;
}

void transfers_t::act_on_timer() {
    if (deadline_ && steady_clock::now() >= *deadline_) {
        deadline_.reset();
        int running{};
        curl_multi_socket_action(multi_, CURL_SOCKET_TIMEOUT, 0, &running);
    }
}

void transfers_t::run(time_point_t until) {
    const auto wake = std::min(until, deadline_.value_or(until));
    const auto left = std::chrono::ceil<milliseconds>(wake - steady_clock::now());
    std::array<epoll_event, events_at_once> events{};
    const int count = ::epoll_wait(epoll_, events.data(), static_cast<int>(events.size()),
                                   static_cast<int>(std::max(left, milliseconds{}).count()));
    for (int i = 0; i < count; ++i) {
        const auto& event = events.at(static_cast<std::size_t>(i));
        int running{};
        curl_multi_socket_action(multi_, event.data.fd, selected_by(event.events), &running);
    }
    act_on_timer();
    tell_clients();
}

void transfers_t::tell_clients() {
    int left{};
    while (const CURLMsg* const message = curl_multi_info_read(multi_, &left)) {
        CURL* const handle = message->easy_handle;
        const auto result = message->data.result;
        client_t* client = nullptr;
        curl_easy_getinfo(handle, CURLINFO_PRIVATE, &client);
        curl_multi_remove_handle(multi_, handle);
        client->transferred(result);
    }
}

}  // namespace fwpush
