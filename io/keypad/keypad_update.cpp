#include "io/keypad/keypad_update.h"

#include "io/keypad/issp.h"
#include "io/keypad/keypad_image.h"
#include "platform/log.h"
#include "platform/logger_names.h"
#include "platform/system_path.h"

#include <cstdio>
#include <memory>

namespace io {

namespace {

template <typename... texts_t>
bool failed(const texts_t&... texts) {
    zel::scope_logger line{zel::loggers::page_station, zel::log_level_e::error};
    (line << ... << texts);
    return false;
}

void notice(const char* text) {
    zel::scope_logger{zel::loggers::page_station, zel::log_level_e::info} << text;
}

bool succeeded(const char* step, issp_result_e result) {
    return result == issp_result_e::success || failed(step, " failed: ", static_cast<int>(result));
}

/// The update of one keypad controller; image and sums outlive an attempt.
class keypad_update_t {
  public:
    bool run(std::string_view path, keypad_progress_t progress);

  private:
    bool read_image(std::string_view path);
    bool program_blocks();
    bool verify_blocks();
    bool confirm();
    void use_block(unsigned block);
    void tell(unsigned blocks) const;

    issp_t issp_{keypad_lines()};
    keypad_image_t image_{};
    std::uint16_t iChecksumData_ = 0;
    std::uint16_t iChecksumTarget_ = 0;
    keypad_progress_t progress_ = nullptr;
};

bool keypad_update_t::run(std::string_view path, keypad_progress_t progress) {
    progress_ = progress;
    if (!read_image(path) ||
        !succeeded("fXRESInitializeTargetForISSP()", issp_.fXRESInitializeTargetForISSP())) {
        return false;
    }
    if (issp_.fVerifySiliconID() != issp_result_e::success) {
        notice("keypad controller not found");
        return false;
    }
    if (!succeeded("fAccTargetBankChecksum", issp_.fAccTargetBankChecksum(iChecksumTarget_))) {
        return false;
    }
    if (iChecksumTarget_ == iChecksumData_) {
        notice("keypad controller firmware is up to date");
        issp_.ReStartTarget();
        return true;
    }
    return succeeded("fEraseTarget", issp_.fEraseTarget()) && program_blocks() && verify_blocks() &&
           confirm();
}

bool keypad_update_t::read_image(std::string_view path) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file{
        std::fopen(zel::system_path(path).c_str(), "re"), &std::fclose};
    if (!file) {
        return failed("failed to open keypad firmware file ", path);
    }
    // The sum goes on from the last attempt's: a second one then finds a difference and programs the
    // controller, rather than trust a comparison that the first one did not get beyond.
    switch (read_keypad_image(file.get(), image_, iChecksumData_).fault) {
    case keypad_image_fault_e::none:
        return true;
    case keypad_image_fault_e::not_intel_hex:
        return failed("keypad firmware file format is not Intel hex");
    case keypad_image_fault_e::not_data:
        return failed("failed to read data record from keypad firmware file");
    case keypad_image_fault_e::address_mismatch:
        break;
    }
    return failed("address mismatch reading keypad firmware file");
}

bool keypad_update_t::program_blocks() {
    iChecksumData_ = 0;
    for (unsigned block = 0; block < keypad_block_count; ++block) {
        use_block(block);
        iChecksumData_ = static_cast<std::uint16_t>(iChecksumData_ + issp_.LoadTarget());
        if (!succeeded("fProgramTargetBlock", issp_.fProgramTargetBlock(block)) ||
            !succeeded("fReadStatus", issp_.fReadStatus())) {
            return false;
        }
        tell(block + 1);
    }
    return true;
}

bool keypad_update_t::verify_blocks() {
    for (unsigned block = 0; block < keypad_block_count; ++block) {
        use_block(block);
        if (!succeeded("fVerifySetup", issp_.fVerifySetup(block)) ||
            !succeeded("fReadStatus", issp_.fReadStatus()) ||
            !succeeded("fReadByteLoop", issp_.fReadByteLoop())) {
            return false;
        }
        tell(keypad_block_count + block + 1);
    }
    return true;
}

bool keypad_update_t::confirm() {
    if (!succeeded("fAccTargetBankChecksum", issp_.fAccTargetBankChecksum(iChecksumTarget_))) {
        return false;
    }
    if (iChecksumTarget_ != iChecksumData_) {
        return failed("iChecksumTarget (", iChecksumTarget_, ") != iChecksumData (", iChecksumData_, ")");
    }
    issp_.ReStartTarget();
    notice("successfully updated keypad controller firmware");
    return true;
}

void keypad_update_t::use_block(unsigned block) {
    issp_.set_block(std::span{image_}.subspan(block * keypad_block_size).first<keypad_block_size>());
}

void keypad_update_t::tell(unsigned blocks) const {
    if (progress_ != nullptr) {
        progress_(blocks, 2 * keypad_block_count);
    }
}

}  // namespace

bool update_keypad_firmware(std::string_view path, keypad_progress_t progress) {
    static auto& update = *new keypad_update_t;
    return update.run(path, progress);
}

}  // namespace io
