#include "ipc/frame.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

using namespace std::string_literals;

std::string length(std::size_t value) {
    const auto low_bits = static_cast<std::uint16_t>(value);
    std::string bytes(2, '\0');
    std::memcpy(bytes.data(), &low_bits, 2);
    return bytes;
}

TEST(frame, a_request_is_laid_out_byte_for_byte_in_host_order) {
    EXPECT_EQ(zel::frame::encode({"get", "/sys/config/arch"}),
              "ipc_magic" + length(23) + length(3) + "get" + length(16) + "/sys/config/arch");
    EXPECT_EQ(zel::frame::encode({std::string(65'537, 'x')}).substr(9, 4), length(3) + length(1));
}

TEST(frame, payloads_come_apart_as_far_as_their_lengths_can_be_true) {
    const std::pair<std::string, std::vector<std::string>> cases[]{
        {"", {}},
        {length(5) + "four", {}},
        {length(0), {""}},
        {length(1) + "a" + length(9) + "short", {"a"}},
        {length(1) + "a" + "\0"s, {"a"}},
        {length(2) + "\0\xff"s + length(0), {"\0\xff"s, ""}},
        {length(1) + "a" + length(1) + "b" + length(0) + length(1) + "d", {"a", "b", "", ""}}};
    for (const auto& [payload, expected] : cases) {
        const auto frame = "ipc_magic" + length(payload.size()) + payload;
        const auto stream = frame + "next";
        zel::frame::field_list_t fields;
        EXPECT_EQ(zel::frame::decode(stream, fields), frame.size());
        ASSERT_EQ(fields.size(), expected.size());
        for (std::size_t i = 0; i < fields.size(); ++i) {
            EXPECT_EQ(fields[i], expected[i]);
        }
        EXPECT_EQ(zel::frame::decode(std::string_view{stream}.substr(0, frame.size() - 1), fields), 0u);
        EXPECT_TRUE(fields.empty());
    }
}

TEST(frame, garbage_ends_where_the_rest_starts_like_a_frame) {
    std::vector<std::size_t> lengths;
    for (const auto* const stream :
         {"ipc_magi", "xxipc_magic", "ipc_magx", "ipc_magi?", "iiiipc", "ipc_magipc_magic"}) {
        lengths.push_back(zel::frame::garbage_length(stream));
    }
    EXPECT_EQ(lengths, (std::vector<std::size_t>{0, 2, 8, 9, 3, 7}));
}

}  // namespace
