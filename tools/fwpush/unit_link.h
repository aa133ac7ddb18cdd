#pragma once

#include "firmware/uploader/push_course.h"
#include "tools/fwpush/image.h"
#include "tools/fwpush/options.h"
#include "tools/fwpush/transfers.h"

#include <array>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace fwpush {

/// The way to one unit over HTTP: one request or upload at a time.
class unit_link_t final : private transfers_t::client_t {
  public:
    /// What is called with the answer; a new request may be made from there.
    using receiver_t = std::function<void(const firmware::unit_answer_t& answer)>;
    /// What is called with the number of bytes sent, often.
    using progress_t = std::function<void(std::int64_t sent)>;

    /// @param url      of the unit, without a slash at the end.
    /// @param options  must outlive the link, as must `transfers`.
    unit_link_t(std::string url, const options_t& options, transfers_t& transfers, receiver_t receiver);
    unit_link_t(const unit_link_t&) = delete;
    unit_link_t& operator=(const unit_link_t&) = delete;
    /// Ends what is under way; the receiver is not called.
    ~unit_link_t();

    /// Gets a page. It is given ten seconds, or the operator's patience if that is shorter, and 128 kB.
    void get(std::string_view path);
    /// Sends the image, which must outlive the transfer. It may take any time as long as bytes move.
    void send(const image_t& image, progress_t progress);

  private:
    void transferred(CURLcode result) override;
    static std::size_t on_answer(char* bytes, std::size_t size, std::size_t count, void* self);
    static std::size_t on_reading(char* into, std::size_t size, std::size_t count, void* self);
    static int on_seeking(void* self, curl_off_t offset, int origin);

    void make_handle();
    void begin(std::string_view path);
    void stop_sending();
    [[nodiscard]] std::string describe(CURLcode result) const;

    std::string url_;
    const options_t& options_;
    transfers_t& transfers_;
    receiver_t receiver_;
    CURL* handle_ = nullptr;
    std::string answer_;
    std::array<char, CURL_ERROR_SIZE> fault_{};

    // While sending.
    const image_t* image_ = nullptr;
    std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> headers_{nullptr, &curl_slist_free_all};
    progress_t progress_;
    std::int64_t sent_{};
    bool image_failed_ = false;
};

}  // namespace fwpush
