// SPDX-License-Identifier: MIT
// Who the filter says it is, and what the host may choose before and while a file is open.
#include "filterFixture.h"
#include "support/fakeHost.h"

namespace {

TEST_F(FilterTest, IdentityIsWhatHostsLookFor) {
    EXPECT_STREQ(filter.me, "Softimage Filter");
    EXPECT_STREQ(filter.vendorName, "SOFTIMAGE Inc.");
    EXPECT_STREQ(filter.formatName, "SOFTIMAGE");
    EXPECT_STREQ(filter.namingPrefix, "test.");
    EXPECT_STREQ(filter.namingExtension, ".pic");
    EXPECT_STREQ(filter.namingTemplate, "%s.%d.pic");
    EXPECT_EQ(filter.namingFlag, 1);
    EXPECT_EQ(filter.accessModes, 0x4033);
    EXPECT_EQ(filter.writeDirection, 8);
    EXPECT_EQ(filter.formatCount, 1);
    EXPECT_EQ(filter.currentFormat, -1);
}

std::vector<std::int32_t> formatReply(TestFilter& filter, int index) {
    filter.data.numof_longs = 0;
    filter.sendIthFormat(index);
    return {filter.data.longdata, filter.data.longdata + filter.data.numof_longs};
}

TEST_F(FilterTest, MatteFormatIsServedAlthoughItIsNotCounted) {
    EXPECT_EQ(formatReply(filter, 0), (std::vector{4, 8, 8, 0x40, 0x20, 0x10, 0x08}));
    EXPECT_EQ(formatReply(filter, 1), (std::vector{1, 1, 1, 2}));
    EXPECT_TRUE(formatReply(filter, 2).empty());
}

TEST_F(FilterTest, MatteFormatHasOneEntryForEachChannelAndOutlivesTheFile) {
    const auto path = folder.write("m.tag", fileHeader("STAG", 2, 1, 3) + be16(0) + be16(0));
    ASSERT_EQ(filter.read(path), 0);
    EXPECT_EQ(formatReply(filter, 1), (std::vector{3, 1, 1, 2, 2, 2}));
    filter.disconnectFromFile();
    EXPECT_EQ(formatReply(filter, 1), (std::vector{3, 1, 1, 2, 2, 2}));
}

TEST_F(FilterTest, TheMatteFormatIsAnsweredLikeEveryOther) {
    support::FakeHost host;
    host.connectDriver();
    TestFilter linked(host.port());
    host.awaitDriver();
    for (const int index : {0, 1}) {
        host.send(support::query(ipc::kQueryIthFormat, {index}));
        linked.handleEvent();
        const IPC_DataPacket reply = host.receive();
        EXPECT_EQ(reply.datacmd[ipc::kWordClass], 1) << index;
        EXPECT_EQ(reply.datacmd[ipc::kWordCode], 1128) << index;
        EXPECT_EQ(reply.numof_longs, index == 0 ? 7 : 4);
        EXPECT_EQ(reply.longdata[0], index == 0 ? 4 : 1);
    }
    EXPECT_EQ(host.replies(), "");
}

TEST_F(FilterTest, MostMatteChannelsFillAReply) {
    ASSERT_EQ(filter.read(folder.write("m.tag", fileHeader("STAG", 2, 1, 253))), 0);
    EXPECT_EQ(formatReply(filter, 1).size(), 256U);
}

TEST_F(FilterTest, EveryFormatButOneStandsForRgba) {
    const support::CaptureStderr said;
    for (const int format : {7, -99, -98, 2, 0}) {
        ASSERT_EQ(filter.setPixelFormat(1), 0);
        EXPECT_EQ(filter.setPixelFormat(format), 0) << format;
        EXPECT_EQ(filter.currentFormat, 0) << format;
    }
    EXPECT_EQ(said.text(), "");
}

TEST_F(FilterTest, FormatAndSizeStayWhileAFileIsOpen) {
    ASSERT_EQ(filter.write(folder / "a.pic", 4, 3), 0);
    const support::CaptureStderr said;
    EXPECT_EQ(filter.setPixelFormat(0), 0) << "the same format is no change";
    EXPECT_EQ(filter.setBounds(5, 6, 4, 3), 0) << "the same size is no change";
    EXPECT_EQ(said.text(), "");
    EXPECT_EQ(filter.setPixelFormat(1), -1);
    EXPECT_EQ(said.text(), "Softimage Filter: Unable to change format of existing file.\n");
    EXPECT_EQ(filter.currentFormat, 0);
}

TEST_F(FilterTest, RefusedBoundsStillMoveTheOrigin) {
    ASSERT_EQ(filter.write(folder / "a.pic", 4, 3), 0);
    const support::CaptureStderr said;
    EXPECT_EQ(filter.setBounds(7, 8, 5, 3), -1);
    EXPECT_EQ(said.text(), "Softimage Filter: Unable to change bounds of existing file.\n");
    EXPECT_EQ((std::vector<int>(filter.bounds, filter.bounds + 4)), (std::vector{7, 8, 4, 3}));
}

} // namespace
