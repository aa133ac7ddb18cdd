#include "tools/exporter/unit_probe.h"

#include <curl/curl.h>

#include <algorithm>
#include <memory>
#include <string_view>
#include <thread>

namespace exporter {

namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

// A detail arrives at the daemon in a message of 64 KiB at most; the rest of the file is below 200 bytes.
constexpr std::size_t largest_answer = 131'072;
constexpr int most_attempts = 10;
constexpr auto before_next_attempt = 20ms;

using transfer_t = std::unique_ptr<CURL, decltype(&curl_easy_cleanup)>;

std::size_t take(const char* bytes, std::size_t, std::size_t count, void* answer) {
    auto& text = *static_cast<std::string*>(answer);
    if (text.size() + count > largest_answer) {
        return 0;
    }
    text.append(bytes, count);
    return count;
}

transfer_t make_transfer(const target_t& target, const probe_settings_t& settings, std::string& answer) {
    transfer_t transfer{curl_easy_init(), &curl_easy_cleanup};
    if (!transfer) {
        return transfer;
    }
    const auto set = [&](CURLoption option, auto value) { curl_easy_setopt(transfer.get(), option, value); };
    const char* const scheme = settings.https ? "https" : "http";
    set(CURLOPT_URL, (scheme + ("://" + target.authority()) + "/fw_status.xml").c_str());
    set(CURLOPT_PROTOCOLS_STR, scheme);
    set(CURLOPT_FOLLOWLOCATION, 0L);
    set(CURLOPT_PROXY, "");
    set(CURLOPT_USERAGENT, "fwstatus-exporter");
    set(CURLOPT_NOSIGNAL, 1L);
    // A name server that does not answer is left to its thread instead of being waited for.
    set(CURLOPT_QUICK_EXIT, 1L);
    set(CURLOPT_WRITEFUNCTION, &take);
    set(CURLOPT_WRITEDATA, static_cast<void*>(&answer));
    if (!settings.certificates.empty()) {
        set(CURLOPT_CAINFO, settings.certificates.c_str());
        set(CURLOPT_CAPATH, nullptr);  // and no authority of this machine's
    }
    return transfer;
}

// A fault after which the next answer may be a good one: the file was shortened while it was sent.
bool is_cut_off(CURLcode fault) {
    return fault == CURLE_PARTIAL_FILE || fault == CURLE_GOT_NOTHING || fault == CURLE_RECV_ERROR;
}

// One question. @return whether asking again may help.
bool ask(CURL* transfer, std::string& answer, std::chrono::milliseconds left, probe_result_t& result) {
    answer.clear();
    curl_easy_setopt(transfer, CURLOPT_TIMEOUT_MS, static_cast<long>(std::max<long>(left.count(), 1)));
    if (const auto fault = curl_easy_perform(transfer); fault != CURLE_OK) {
        result.problem = fault == CURLE_WRITE_ERROR ? "the answer is too long" : curl_easy_strerror(fault);
        return is_cut_off(fault);
    }
    long status{};
    curl_easy_getinfo(transfer, CURLINFO_RESPONSE_CODE, &status);
    if (status != 200) {
        result.problem = "the web server answers with " + std::to_string(status);
        return false;
    }
    result.status = firmware::read_status_answer(answer);
    result.problem = result.status ? "" : "the status file is empty, cut off or of another shape";
    return !result.status;
}

}  // namespace

probe_result_t probe(const target_t& target, const probe_settings_t& settings,
                     steady_clock::time_point deadline) {
    const auto begin = steady_clock::now();
    const auto left = [&] {
        return std::chrono::duration_cast<std::chrono::milliseconds>(deadline - steady_clock::now());
    };
    probe_result_t result;
    std::string answer;
    if (const auto transfer = make_transfer(target, settings, answer); !transfer) {
        result.problem = "out of memory";
    } else {
        for (int i = 1; ask(transfer.get(), answer, left(), result) && i < most_attempts; ++i) {
            if (left() <= before_next_attempt) {
                break;
            }
            std::this_thread::sleep_for(before_next_attempt);
        }
    }
    result.duration = steady_clock::now() - begin;
    return result;
}

}  // namespace exporter
