#pragma once

#include "platform/logging.h"
#include "sim/bench_unit.h"
#include "sim/fpga.h"
#include "sim/shared_state.h"
#include "tests/log_capture.h"

#include <gtest/gtest.h>

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

    log_capture_t log;
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

}  // namespace tests
