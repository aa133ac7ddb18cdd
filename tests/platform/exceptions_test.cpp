#include "platform/exceptions.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace {

TEST(exceptions, each_layer_adds_its_context_in_front_or_a_detail_behind) {
    zel::exception_t fault{"m"};
    fault.append("b");
    fault.prepend("a");
    EXPECT_STREQ(fault.what(), "a : m : b");
}

TEST(exceptions, a_system_fault_keeps_context_and_number_while_its_message_grows_on_the_way_out) {
    try {
        try {
            throw zel::serial_port_exception{"open failed", ENOENT};
        } catch (zel::exception_t& fault) {
            fault.prepend("panel");
            throw;
        }
    } catch (const zel::system_exception_t& fault) {
        EXPECT_STREQ(fault.what(), "panel : open failed : No such file or directory (2)");
        EXPECT_EQ(fault.context(), "open failed");
        EXPECT_EQ(fault.error_number(), ENOENT);
    }
}

// 0 is used where no call failed; numbers nobody defined come from drivers.
TEST(exceptions, every_error_number_reads_as_the_system_puts_it) {
    for (const int number : {0, EIO, 4095, -7}) {
        const std::string expected =
            "select : " + std::string{std::strerror(number)} + " (" + std::to_string(number) + ")";
        EXPECT_EQ(zel::system_exception_t("select", number).what(), expected);
    }
}

}  // namespace
