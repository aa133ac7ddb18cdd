#include "sim/peers/serial_module.h"

#include "sim/root/violations.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <utility>

namespace sim {

namespace {

constexpr std::uint8_t question = 0x95;
constexpr std::uint8_t frame_start = 0x99;
constexpr std::size_t frame_size = 7;
constexpr std::size_t history_limit = 4096;
constexpr std::uint8_t no_segment = 0x80;

}  // namespace

serial_module_t::serial_module_t(serial_display_t& glass, serial_manners_t manners)
    : glass_{glass}, manners_{std::move(manners)}, wake_up_{::eventfd(0, EFD_CLOEXEC)},
      thread_{&serial_module_t::run, this} {}

serial_module_t::~serial_module_t() {
    vanish();
    ::close(wake_up_);
}

void serial_module_t::connect(const std::string& device) const {
    std::filesystem::create_directories(std::filesystem::path{device}.parent_path());
    std::filesystem::remove(device);
    std::filesystem::create_symlink(line_.path(), device);
}

void serial_module_t::vanish() {
    if (!thread_.joinable()) {
        return;
    }
    ::eventfd_write(wake_up_, 1);
    thread_.join();
    line_.hang_up();
}

serial_display_t serial_module_t::display() const {
    const std::lock_guard lock{mutex_};
    return glass_;
}

std::vector<serial_module_t::timed_display_t> serial_module_t::history() const {
    const std::lock_guard lock{mutex_};
    return history_;
}

bool serial_module_t::wait_for_frames(std::size_t count, std::chrono::milliseconds patience) const {
    const auto deadline = clock_t::now() + patience;
    for (;;) {
        {
            const std::lock_guard lock{mutex_};
            if (frames_ >= count) {
                return true;
            }
        }
        if (clock_t::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds{1});
    }
}

std::size_t serial_module_t::questions() const {
    const std::lock_guard lock{mutex_};
    return questions_;
}

void serial_module_t::run() {
    std::array<pollfd, 2> events{{{line_.our_end(), POLLIN, 0}, {wake_up_, POLLIN, 0}}};
    while ((events[1].revents & POLLIN) == 0) {
        int wait_ms = -1;
        if (answer_due_) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(*answer_due_ - clock_t::now());
            wait_ms = std::max(0, static_cast<int>(left.count()));
        }
        ::poll(events.data(), events.size(), wait_ms);
        if (events[0].revents != 0) {
            hear();
        }
        answer_when_due();
    }
}

void serial_module_t::hear() {
    std::array<std::uint8_t, 256> bytes{};
    const auto count = ::read(line_.our_end(), bytes.data(), bytes.size());
    if (count <= 0) {
        return;
    }
    if (!line_fits()) {
        report_violation("serial module: noise, the line is not set to 115200 8N1");
        return;
    }
    std::for_each_n(bytes.begin(), count, [this](std::uint8_t byte) { take(byte); });
}

bool serial_module_t::line_fits() const {
    termios settings{};
    return ::tcgetattr(line_.units_end(), &settings) == 0 && ::cfgetospeed(&settings) == B115200 &&
           (settings.c_cflag & (CSIZE | CSTOPB | PARENB)) == CS8;
}

void serial_module_t::take(std::uint8_t byte) {
    if (byte == frame_start) {
        if (!frame_.empty()) {
            report_violation("serial module: frame cut off after " + std::to_string(frame_.size()) +
                             " bytes");
        }
        frame_.assign(1, byte);
        astray_ = false;
    } else if (!frame_.empty()) {
        frame_.push_back(byte);
        if (frame_.size() == frame_size) {
            show();
            frame_.clear();
        }
    } else if (byte == question) {
        answer_due_ = clock_t::now() + manners_.delay;
        astray_ = false;
        const std::lock_guard lock{mutex_};
        ++questions_;
    } else if (!std::exchange(astray_, true)) {
        report_violation("serial module: byte " + std::to_string(byte) + " belongs to no frame");
    }
}

void serial_module_t::show() {
    serial_display_t display{.leds = frame_[5], .mode = frame_[6]};
    std::copy_n(frame_.begin() + 1, display.digits.size(), display.digits.begin());
    if (std::ranges::any_of(display.digits, [](auto digit) { return (digit & no_segment) != 0; })) {
        report_violation("serial module: a digit has no eighth segment");
    }
    const std::lock_guard lock{mutex_};
    glass_ = display;
    ++frames_;
    if (history_.size() == history_limit) {
        history_.erase(history_.begin(), history_.begin() + history_limit / 2);
    }
    history_.push_back({clock_t::now(), display});
}

void serial_module_t::answer_when_due() {
    if (answer_due_ && clock_t::now() >= *answer_due_) {
        answer_due_.reset();
        if (::write(line_.our_end(), manners_.answer.data(), manners_.answer.size()) < 0) {
            report_violation("serial module: the line does not take the answer");
        }
    }
}

}  // namespace sim
