#include "platform/exceptions.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace {

TEST(exceptions, keep_context_and_number_while_each_layer_adds_to_their_message) {
    zel::serial_port_exception fault{"open failed", ENOENT};
    fault.prepend("panel");
    fault.append("given up");
    EXPECT_STREQ(fault.what(), "panel : open failed : No such file or directory (2) : given up");
    EXPECT_EQ(fault.context(), "open failed");
    EXPECT_EQ(fault.error_number(), ENOENT);
    EXPECT_STREQ(zel::system_exception_t("select", 4095).what(), "select : Unknown error 4095 (4095)");
}

}  // namespace
