#pragma once

#include "platform/logging.h"
#include "sim/board/bench_unit.h"
#include "sim/board/fpga.h"
#include "sim/root/log_file.h"
#include "sim/root/shared_state.h"
#include "sim/root/violations.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace tests {

/// A unit on the bench, with its log, whose devices have understood all that they were sent.
class checked_unit_t : public sim::bench_unit_t {
  public:
    template <typename kind_t>
    explicit checked_unit_t(const kind_t& kind) : bench_unit_t{kind} {
        zel::register_logger("drv_io");
        zel::set_logger_level("drv_io", "trace");
    }
    ~checked_unit_t() { EXPECT_EQ(sim::violations(), ""); }

    sim::log_capture_t log;
};

/// What a call says on standard output.
template <typename call_t>
std::string console_of(const call_t& call) {
    testing::internal::CaptureStdout();
    call();
    return testing::internal::GetCapturedStdout();
}

/// What a call that is refused says on standard output.
template <typename call_t>
std::string refusal_of(const call_t& call) {
    return console_of([&call] { EXPECT_FALSE(call()); });
}

/// Tells of calls, one after the other, whether they succeed, what they say, and what they write and read on
/// the FPGA's bus.
class listing_t {
  public:
    explicit listing_t(const std::string& title) : text_{"== " + title + '\n'} {}

    template <typename call_t>
    void tell(const std::string& what, const call_t& call) {
        bool done = false;
        sim::fpga()->record(true);
        const auto said = console_of([&] { done = call(); });
        sim::fpga()->record(false);
        text_ += what + (done ? "\n" : ": refused\n") + said;
        for (const auto& [kind, offset, value] : sim::fpga()->recorded()) {
            char line[64];
            const bool reads = kind == sim::bus_access_t::kind_e::read32;
            std::snprintf(line, sizeof line, "  %s %06x %08x\n", reads ? "read " : "write", offset, value);
            text_ += line;
        }
        sim::fpga()->forget_recorded();
    }
    [[nodiscard]] const std::string& text() const { return text_; }

  private:
    std::string text_;
};

}  // namespace tests
