#include "io/serial/io_lx4s.h"

#include "io/platform_tables.h"
#include "io/serial/seven_segment.h"
#include "io/system.h"
#include "platform/exceptions.h"
#include "platform/log.h"
#include "platform/logger_names.h"
#include "platform/paths.h"
#include "platform/system_path.h"

#include <fcntl.h>

#include <algorithm>
#include <cstddef>
#include <system_error>

namespace io {

namespace {

constexpr char probe = '\x95';
constexpr char probe_answer = 'C';
constexpr double probe_wait_ms = 500;
constexpr int read_timeout_ms = 1000;

// Frame bytes.
constexpr std::size_t first_digit = 1;
constexpr std::size_t digit_count = 4;
constexpr std::size_t leds = 5;
constexpr std::size_t mode = 6;
constexpr std::uint8_t percentage_mode = 4;

constexpr std::uint8_t upper_square = 0x63;                                         // segments a, b, f, g
constexpr std::uint8_t lower_square = 0x5C;                                         // segments c, d, e, g
constexpr std::array<std::uint8_t, 6> offline{0x3F, 0x71, 0x71, 0x38, 0x00, 0x00};  // "OFFL", LEDs out

// Three lamps that run back and forth, by animation step.
constexpr std::array<std::uint8_t, 8> lamp_sequence{0x08, 0x08, 0x10, 0x10, 0x20, 0x20, 0x10, 0x10};
constexpr int sweeps_per_pass = 4;
constexpr int progress_frames = 16;

zel::scope_logger log() {
    return {zel::loggers::serial_panel, zel::log_level_e::debug};
}

// The segments of a number's last decimal digit.
std::uint8_t last_digit_mask(std::int32_t number) {
    return segment_mask(static_cast<char>('0' + number % 10));
}

}  // namespace

io_lx4s_t::io_lx4s_t(std::chrono::milliseconds frame_period) : frame_period_{frame_period} {}

io_lx4s_t::~io_lx4s_t() {
    close();
}

bool io_lx4s_t::init(bool full) {
    if (system_t::platform_id() != platform_tables::serial_panel_platform) {
        log() << "io::io_lx4s: This is not an LX-4s!!";
        return false;
    }
    if (!full) {
        log() << "io::io_lx4s: LX4s driver!!";
        return true;
    }
    return open();
}

bool io_lx4s_t::open() {
    try {
        port_.open(zel::system_path(zel::paths::serial_front_panel), O_NONBLOCK);
        port_.configure(B115200, zel::data_bits_e::eight, zel::parity_e::none, zel::stop_bits_e::one,
                        zel::flow_control_e::none);
        port_.set_raw();
        port_.clear_output_processing();
        port_.set_read_timeout(read_timeout_ms);
        port_.write(&probe, 1);
        double timeout_ms = probe_wait_ms;
        port_.wait(timeout_ms, true, false);
        // With nothing there, a read fails where the terminal's VMIN is slot 5 (PowerPC) and returns 0 where
        // it is slot 6, which set_read_timeout zeroed (ARM, x86). A silent module thus has one log line on
        // the one kind of unit and the other on the other.
        char answer = 0;
        if (port_.read(&answer, 1) == 1 && answer == probe_answer) {
            present_ = true;
            send_frame();
            log() << "io::io_lx4s: LX4s driver initialized";
            return true;
        }
    } catch (const zel::serial_port_exception&) {
        log() << "io::io_lx4s: unable to read from serial port";
        return false;
    }
    log() << "io:lx4s driver: bad response";
    return false;
}

void io_lx4s_t::start() {
    if (thread_.joinable()) {
        return;
    }
    stopped_ = false;
    try {
        thread_ = std::thread{&io_lx4s_t::run_worker, this};
    } catch (const std::system_error&) {
        stopped_ = true;
    }
}

void io_lx4s_t::stop() {
    stopped_ = true;
    if (thread_.joinable()) {
        thread_.join();
    }
}

bool io_lx4s_t::set_progress(std::int32_t percent) {
    if (percent < 0) {
        return false;
    }
    if (!is_running()) {
        return draw_progress(percent);
    }
    // The value first: a worker that sees it announced must find it.
    progress_ = percent;
    pending_ = true;
    return true;
}

bool io_lx4s_t::draw_progress(std::int32_t percent) {
    if (percent < 0) {
        return false;
    }
    frame_[mode] = percentage_mode;
    frame_[first_digit] = percent > 99 ? last_digit_mask(percent / 100) : std::uint8_t{0};
    frame_[first_digit + 1] = percent > 9 ? last_digit_mask(percent / 10) : std::uint8_t{0};
    frame_[first_digit + 2] = last_digit_mask(percent);
    frame_[first_digit + 3] = 0;
    send_frame();
    return true;
}

bool io_lx4s_t::clear() {
    std::fill(frame_.begin() + first_digit, frame_.end(), std::uint8_t{0});
    send_frame();
    return true;
}

bool io_lx4s_t::close() {
    try {
        stop();
        std::copy(offline.begin(), offline.end(), frame_.begin() + first_digit);
        send_frame();
        port_.close();
    } catch (const zel::serial_port_exception&) {  // NOLINT(bugprone-empty-catch): the panel is going anyway
    }
    return true;
}

void io_lx4s_t::send_frame() {
    port_.write(frame_.data(), static_cast<std::ptrdiff_t>(frame_.size()));
}

void io_lx4s_t::run_worker() {
    step_ = 0;
    lower_square_ = false;
    clear();
    while (!stopped_) {
        play_animation();
        if (pending_) {
            show_handed_over_progress();
        }
    }
}

void io_lx4s_t::play_animation() {
    for (int sweep = 0; sweep < sweeps_per_pass; ++sweep) {
        for (std::size_t digit = first_digit; digit < first_digit + digit_count; ++digit) {
            frame_[digit] = lower_square_ ? lower_square : upper_square;
            frame_[leds] = lamp_sequence[step_];
            step_ = (step_ + 1) % lamp_sequence.size();
            send_frame();
            std::this_thread::sleep_for(frame_period_);
        }
        lower_square_ = !lower_square_;
    }
}

void io_lx4s_t::show_handed_over_progress() {
    clear();
    for (int frame = 0; frame < progress_frames; ++frame) {
        draw_progress(progress_);
        std::this_thread::sleep_for(frame_period_);
    }
    pending_ = false;
    clear();
}

io_lx4s_t& serial_panel() {
    static auto& panel = *new io_lx4s_t;
    return panel;
}

}  // namespace io
