#include "ipc/unix_stream_socket.h"
#include "sim/fpga.h"
#include "sim/notification_service.h"
#include "tests/temporary_unit.h"

#include <gtest/gtest.h>

namespace {

const std::string stream = "fw_update_beginfw_update_state Initializingfw_update_progress -1"
                           "fw_update_progress 0fw_update_progress 10fw_update_progress 7"
                           "fw_update_progress 100fw_update_state Finished. Rebooting...fw_update_progress 1";
const std::string values = "|Initializing|-1|0|10|7|100|Finished. Rebooting...|1|";

std::string values_of(const std::vector<sim::notification_t>& notifications) {
    std::string text;
    for (const auto& notification : notifications) {
        text += notification.value + '|';
    }
    return text;
}

TEST(notification_parser, texts_without_delimiters_are_told_apart_wherever_they_are_cut) {
    for (std::size_t cut = 0; cut <= stream.size(); ++cut) {
        sim::notification_parser_t parser;
        auto found = values_of(parser.feed(stream.substr(0, cut)));
        found += values_of(parser.feed(stream.substr(cut)));
        found += values_of(parser.finish());
        ASSERT_EQ(found, values) << "cut after " << cut;
        EXPECT_EQ(parser.garbage(), 0u);
    }
}

TEST(notification_parser, what_is_no_notification_is_counted_and_passed_over) {
    sim::notification_parser_t parser;
    EXPECT_EQ(values_of(parser.feed("fw_update_state Sleepingfw_update_progress x")), "");
    // 1005 is the 100 and a 5 too many; 01 is the 0 and a 1 too many.
    EXPECT_EQ(values_of(parser.feed("fw_update_begin\nfw_update_progress 1005fw_update_progress 01")),
              "|100|0|");
    EXPECT_EQ(values_of(parser.finish()), "");
    EXPECT_EQ(parser.garbage(), 24u + 20u + 1u + 1u + 1u);
}

TEST(notification_service, counts_what_it_hears_and_can_stop_reading) {
    const tests::temporary_unit_t unit;
    sim::notification_service_t service;
    ASSERT_TRUE(service.start());
    zel::unix_stream_socket_t client{"/tmp/.korv_ipc"};
    ASSERT_TRUE(client.connect());
    client.send(stream.data(), stream.size());
    EXPECT_TRUE(tests::eventually([&] { return values_of(service.received_so_far()) == values; }));
    service.stall(true);
    std::uint64_t sent = 1;
    while (client.send("fw_update_begin", 15) == 15) {
        ++sent;
    }
    EXPECT_EQ(service.counts().begins, 1u);
    service.stall(false);
    EXPECT_TRUE(tests::eventually([&] { return service.counts().begins == sent; }));
    EXPECT_EQ(sim::violations(), "");
}

}  // namespace
