#pragma once

#include "tests/io/bench_unit.h"

#include <gtest/gtest.h>

#include <string>

namespace tests {

/// A unit on the bench whose devices have understood all that they were sent.
class checked_unit_t : public bench_unit_t {
  public:
    using bench_unit_t::bench_unit_t;
    ~checked_unit_t() { EXPECT_EQ(sim::violations(), ""); }
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
