#include "sim/web/updating_process.h"

#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>

namespace sim {

namespace {

using namespace std::chrono_literals;

constexpr const char* image_file = "/tmp/fw_image";
constexpr const char* claim_file = "/tmp/fw_image.hash";
constexpr const char* flash_file = "/sim/flash";
constexpr auto validation = 500ms;
constexpr int blocks = 9;
constexpr int fpga_from = 75;  // percent

std::string sha256(const std::string& bytes) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    std::size_t length = 0;
    EVP_Q_digest(nullptr, "SHA256", nullptr, bytes.data(), bytes.size(), digest.data(), &length);
    constexpr const char* digits = "0123456789abcdef";
    std::string text;
    for (std::size_t i = 0; i < length; ++i) {
        text += digits[digest.at(i) >> 4U];
        text += digits[digest.at(i) & 15U];
    }
    return text;
}

}  // namespace

updating_process_t::updating_process_t(unit_root_t& root, engine_t& engine, double bytes_per_second,
                                       const web_fault_t* fault)
    : root_{root}, engine_{engine}, bytes_per_second_{bytes_per_second}, fault_{fault} {
    if (!std::filesystem::exists(root_.file(flash_file))) {
        root_.write_file(flash_file, "as it came from the factory");
    }
}

std::string updating_process_t::flash_hash() const {
    return sha256(root_.read_file(flash_file));
}

void updating_process_t::publish(const std::string& state, int progress, const std::string& detail) {
    const bool has_own = fault_ == nullptr || fault_->detail.empty();
    engine_.set("/sys/fw_status/detail", has_own ? detail : std::string{fault_->detail});
    engine_.set("/sys/fw_status/progress", std::to_string(progress));
    engine_.set("/sys/fw_status/state", state);
}

updating_process_t::news_e updating_process_t::step(time_point_t now) {
    switch (phase_) {
    case phase_e::idle:
        take_image(now);
        break;
    case phase_e::validating:
        if (now - since_ >= validation) {
            validate(now);
        }
        break;
    case phase_e::writing:
        return write(now);
    case phase_e::standing_still:
        break;
    }
    return news_e::none;
}

void updating_process_t::take_image(time_point_t now) {
    if (std::filesystem::exists(root_.file(image_file))) {
        publish("initializing", -1, "Checking the image");
        phase_ = phase_e::validating;
        since_ = now;
    }
}

void updating_process_t::validate(time_point_t now) {
    image_ = root_.read_file(image_file);
    const auto claim = root_.read_file(claim_file);
    if (!claim.empty() && claim != sha256(image_)) {
        give_up("The image is damaged", -1);
        return;
    }
    root_.write_file(flash_file, "");
    written_ = 0;
    shown_ = -1;
    phase_ = phase_e::writing;
    since_ = now;
}

void updating_process_t::write_up_to(std::size_t offset) {
    std::ofstream flash{root_.file(flash_file), std::ios::app | std::ios::binary};
    flash.write(image_.data() + written_, static_cast<std::streamsize>(offset - written_));
    written_ = offset;
}

updating_process_t::news_e updating_process_t::write(time_point_t now) {
    const std::chrono::duration<double> time = now - since_;
    const auto size = static_cast<double>(image_.size());
    write_up_to(static_cast<std::size_t>(std::min(size, time.count() * bytes_per_second_)));
    const int percent = static_cast<int>(100.0 * static_cast<double>(written_) / size);
    if (percent == shown_) {
        return news_e::none;
    }
    shown_ = percent;
    if (fault_ != nullptr && fault_->error_at >= 0 && percent >= fault_->error_at) {
        give_up("Flash does not hold what was written", percent);
        return news_e::fault_struck;
    }
    if (fault_ != nullptr && fault_->power_fails_at >= 0 && percent >= fault_->power_fails_at) {
        phase_ = phase_e::standing_still;
        return news_e::power_failed;
    }
    if (fault_ != nullptr && fault_->stands_still_at >= 0 && percent >= fault_->stands_still_at) {
        phase_ = phase_e::standing_still;
        return news_e::fault_struck;
    }
    if (written_ < image_.size()) {
        publish(percent < fpga_from ? "fw_write" : "fpga_write", percent,
                "Block " + std::to_string(percent * blocks / 100 + 1) + " of " + std::to_string(blocks));
        return news_e::none;
    }
    publish("complete", 100, "");
    std::filesystem::remove(root_.file(image_file));
    phase_ = phase_e::idle;
    return news_e::written;
}

void updating_process_t::give_up(const std::string& why, int progress) {
    publish("error", progress, why);
    std::filesystem::remove(root_.file(image_file));
    phase_ = phase_e::idle;
}

}  // namespace sim
