#include "tools/fwpush/unit_link.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace fwpush {

namespace {

using firmware::unit_answer_t;
using fault_e = unit_answer_t::fault_e;
using std::chrono::milliseconds;

constexpr const char* upload_path = "/cgi-bin/fw_upload";
// A status file with the longest detail that a unit's daemon takes is a little over 64 kB.
constexpr std::size_t longest_answer = 131'072;
constexpr milliseconds longest_request{10'000};
constexpr milliseconds longest_connect{5'000};
// A watched unit's answer is some hundred bytes; a thousand units are worth a small buffer.
constexpr long receive_buffer = 1024;
constexpr long send_buffer = 256L * 1024;

bool is_hopeless(CURLcode result) {
    switch (result) {
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_URL_MALFORMAT:
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_INVALIDCERTSTATUS:
        return true;
    default:
        return false;
    }
}

}  // namespace

unit_link_t::unit_link_t(std::string url, const options_t& options, transfers_t& transfers,
                         receiver_t receiver)
    : url_{std::move(url)}, options_{options}, transfers_{transfers}, receiver_{std::move(receiver)} {}

unit_link_t::~unit_link_t() {
    transfers_.abort(handle_);
    curl_easy_cleanup(handle_);
}

void unit_link_t::make_handle() {
    handle_ = curl_easy_init();
    if (handle_ == nullptr) {
        throw std::runtime_error{"libcurl has no memory left"};
    }
    curl_easy_setopt(handle_, CURLOPT_PRIVATE, static_cast<transfers_t::client_t*>(this));
    curl_easy_setopt(handle_, CURLOPT_ERRORBUFFER, fault_.data());
    curl_easy_setopt(handle_, CURLOPT_NOSIGNAL, 1L);
    // A name server that does not answer is left to its thread: waiting for it would hold up all units.
    curl_easy_setopt(handle_, CURLOPT_QUICK_EXIT, 1L);
    curl_easy_setopt(handle_, CURLOPT_PROXY,
                     "");  // units are asked themselves, whatever the environment says
    curl_easy_setopt(handle_, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(handle_, CURLOPT_HTTP_VERSION, CURL_HTTP_VERSION_1_1);
    curl_easy_setopt(handle_, CURLOPT_USERAGENT, "fwpush/" FWSTATUS_VERSION);
    curl_easy_setopt(handle_, CURLOPT_BUFFERSIZE, receive_buffer);
    curl_easy_setopt(handle_, CURLOPT_WRITEFUNCTION, &unit_link_t::on_answer);
    curl_easy_setopt(handle_, CURLOPT_WRITEDATA, this);
    curl_easy_setopt(handle_, CURLOPT_CONNECTTIMEOUT_MS,
                     static_cast<long>(std::min(options_.timeout, longest_connect).count()));
    if (!options_.user.empty()) {
        curl_easy_setopt(handle_, CURLOPT_HTTPAUTH, CURLAUTH_BASIC | CURLAUTH_DIGEST);
        curl_easy_setopt(handle_, CURLOPT_USERPWD, options_.user.c_str());
    }
    if (!options_.ca_file.empty()) {
        curl_easy_setopt(handle_, CURLOPT_CAINFO, options_.ca_file.c_str());
        curl_easy_setopt(handle_, CURLOPT_CAPATH, nullptr);  // and no authority of this machine's
    }
}

void unit_link_t::begin(std::string_view path) {
    answer_.clear();
    fault_.front() = '\0';
    curl_easy_setopt(handle_, CURLOPT_URL, (url_ + std::string{path}).c_str());
    transfers_.begin(handle_);
}

void unit_link_t::get(std::string_view path) {
    if (handle_ == nullptr) {
        make_handle();
        curl_easy_setopt(handle_, CURLOPT_TIMEOUT_MS,
                         static_cast<long>(std::min(options_.timeout, longest_request).count()));
    }
    begin(path);
}

void unit_link_t::send(const image_t& image, progress_t progress) {
    curl_easy_cleanup(handle_);
    make_handle();
    image_ = &image;
    progress_ = std::move(progress);
    sent_ = 0;
    headers_.reset(curl_slist_append(nullptr, "Content-Type: application/octet-stream"));
    curl_slist_append(headers_.get(), ("X-Firmware-Hash: " + image.hash()).c_str());
    curl_easy_setopt(handle_, CURLOPT_HTTPHEADER, headers_.get());
    curl_easy_setopt(handle_, CURLOPT_POST, 1L);
    curl_easy_setopt(handle_, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(image.size()));
    curl_easy_setopt(handle_, CURLOPT_UPLOAD_BUFFERSIZE, send_buffer);
    curl_easy_setopt(handle_, CURLOPT_READFUNCTION, &unit_link_t::on_reading);
    curl_easy_setopt(handle_, CURLOPT_READDATA, this);
    curl_easy_setopt(handle_, CURLOPT_SEEKFUNCTION, &unit_link_t::on_seeking);
    curl_easy_setopt(handle_, CURLOPT_SEEKDATA, this);
    // A unit that crawls must not keep its turn for hours.
    constexpr long lowest_speed = 1024;
    curl_easy_setopt(handle_, CURLOPT_LOW_SPEED_LIMIT, lowest_speed);
    curl_easy_setopt(handle_, CURLOPT_LOW_SPEED_TIME,
                     static_cast<long>(std::chrono::ceil<std::chrono::seconds>(options_.timeout).count()));
    begin(upload_path);
}

// The handle's buffer and settings are good for an upload alone.
void unit_link_t::stop_sending() {
    if (image_ == nullptr) {
        return;
    }
    image_ = nullptr;
    curl_easy_cleanup(handle_);
    handle_ = nullptr;
}

void unit_link_t::transferred(CURLcode result) {
    unit_answer_t answer;
    if (result == CURLE_OK) {
        curl_easy_getinfo(handle_, CURLINFO_RESPONSE_CODE, &answer.code);
        answer.text.swap(answer_);
    } else {
        answer.text = describe(result);
        answer.fault = image_failed_         ? fault_e::given_up
                       : is_hopeless(result) ? fault_e::hopeless
                                             : fault_e::passing;
    }
    stop_sending();
    receiver_(answer);
}

std::string unit_link_t::describe(CURLcode result) const {
    if (image_failed_) {
        return "the image cannot be read any more, or has changed";
    }
    if (result == CURLE_WRITE_ERROR) {
        return "it answered with more than " + std::to_string(longest_answer / 1024) + " kB";
    }
    if (image_ != nullptr && result == CURLE_OPERATION_TIMEDOUT && sent_ == image_->size()) {
        return "it took the image and did not answer";
    }
    const std::string fault = fault_.front() == '\0' ? curl_easy_strerror(result) : fault_.data();
    return result == CURLE_SSL_CONNECT_ERROR ? "there is no https with it: " + fault : fault;
}

std::size_t unit_link_t::on_answer(char* bytes, std::size_t size, std::size_t count, void* self) {
    auto& answer = static_cast<unit_link_t*>(self)->answer_;
    if (answer.size() + size * count > longest_answer) {
        return 0;
    }
    answer.append(bytes, size * count);
    return size * count;
}

std::size_t unit_link_t::on_reading(char* into, std::size_t size, std::size_t count, void* self) {
    auto& link = *static_cast<unit_link_t*>(self);
    const auto read = link.image_->read(link.sent_, {into, size * count});
    if (read < 0) {
        link.image_failed_ = true;
        return CURL_READFUNC_ABORT;
    }
    link.sent_ += read;
    link.progress_(link.sent_);
    return static_cast<std::size_t>(read);
}

// libcurl counts from the beginning, always.
int unit_link_t::on_seeking(void* self, curl_off_t offset, int /*origin*/) {
    static_cast<unit_link_t*>(self)->sent_ = offset;
    return CURL_SEEKFUNC_OK;
}

}  // namespace fwpush
