#include "firmware/uploader/status_answer.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string file(const std::string& state, const std::string& progress, const std::string& detail) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\" ?>\r\n<status>\r\n  <state>" + state +
           "</state>\r\n  <progress>" + progress + "</progress>\r\n  <detail>" + detail +
           "</detail>\r\n</status>\r\n";
}

TEST(status_answer, is_read_whatever_the_detail_holds) {
    for (const std::string detail :
         {"", "Block 3 of 9", "a < b && c", "<state>complete</state>", "</detail></status><status>",
          "</detail><state>complete</state><detail>", "<detail>", "]]><!--", "\x01\xff\x1b[2J"}) {
        const auto status = firmware::read_status_answer(file("fw_write", "37", detail));
        ASSERT_TRUE(status) << detail;
        EXPECT_EQ(status->state, "fw_write");
        EXPECT_EQ(status->progress, 37);
        EXPECT_EQ(status->detail, detail);
    }
}

TEST(status_answer, cut_off_anywhere_is_read_right_or_not_at_all) {
    const auto whole = file("fw_write", "37", "Block 3 of 9");
    std::size_t readable = 0;
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        if (const auto status = firmware::read_status_answer(whole.substr(0, length))) {
            ++readable;
            EXPECT_EQ(status->state, "fw_write");
            EXPECT_EQ(status->progress, 37);
        }
    }
    EXPECT_EQ(readable, whole.size() - whole.find("<detail>") - std::string{"<detail>"}.size() + 1);
}

TEST(status_answer, of_another_shape_is_none) {
    for (const std::string progress : {"", "x", "37x", "101", "-2", "99999999999999999999", "0x20", "<b/>"}) {
        EXPECT_FALSE(firmware::read_status_answer(file("fw_write", progress, ""))) << progress;
    }
    EXPECT_TRUE(firmware::read_status_answer(file("fw_write", "-1", "")));
    EXPECT_FALSE(firmware::read_status_answer(file("", "1", "")));
    EXPECT_FALSE(firmware::read_status_answer("<html><body>It works!</body></html>"));
    EXPECT_FALSE(firmware::read_status_answer("<status><detail><state>complete</state></detail></status>"));
    // A unit that publishes no detail.
    EXPECT_TRUE(firmware::read_status_answer("<status><state>idle</state><progress>0</progress></status>"));
    EXPECT_FALSE(firmware::read_status_answer(std::string(100'000, '<')));
    std::string deep;
    for (int i = 0; i < 50'000; ++i) {
        deep += "<a>";
    }
    EXPECT_FALSE(firmware::read_status_answer(deep));
}

}  // namespace
