// SPDX-License-Identifier: MIT
#include "recordingDriver.h"

#include <climits>

using support::query;

namespace {

class Queries : public ConnectedDriver<> {
  protected:
    static std::vector<std::int32_t> longsOf(const IPC_DataPacket& p) {
        return {p.longdata, p.longdata + p.numof_longs};
    }
    static std::string textOf(const IPC_DataPacket& p) {
        return {p.chardata, static_cast<std::size_t>(p.numof_chars)};
    }
};

TEST_F(Queries, AnswerWithTheDefaults) {
    struct {
        const char* name;
        int code;
        std::vector<std::int32_t> longs;
        int strings;
        std::string text;
    } const cases[] = {
        {"access modes", 1024, {0}, 0, ""},
        {"vendor name", 1025, {}, 1, std::string("Tarvo Works\0", 12)},
        {"format count", 1026, {0}, 0, ""},
        {"current format", 1027, {-1}, 0, ""},
        {"format without table", 1028, {}, 0, ""},
        {"bounds", 1029, {0, 0, -1, -1}, 0, ""},
        {"tiling", 1030, {1, 1}, 0, ""},
        {"stamp bounds", 1031, {0, 0}, 0, ""},
        {"current cell", 1032, {INT_MAX}, 0, ""},
        {"format name", 1033, {}, 1, std::string("(none)\0", 7)},
        {"start cell", 1034, {INT_MIN}, 0, ""},
        {"end cell", 1035, {INT_MAX}, 0, ""},
        {"pre-read command", 1036, {}, 1, std::string(1, '\0')},
        {"post-write command", 1037, {}, 1, std::string(1, '\0')},
        {"write direction", 1038, {0}, 0, ""},
        {"naming", 1039, {0}, 3, std::string(3, '\0')},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const IPC_DataPacket p = ask(query(c.code));
        EXPECT_EQ(std::vector<int>(p.datacmd, p.datacmd + 6),
                  (std::vector{102, 39, 7, 8, 1, c.code + 100}));
        EXPECT_EQ(longsOf(p), c.longs);
        EXPECT_EQ(p.numof_strings, c.strings);
        EXPECT_EQ(textOf(p), c.text);
    }
}

TEST_F(Queries, OutsideTheTableAreErrors) {
    for (const int code : {1023, 1040, 0, -1}) {
        EXPECT_EQ(handle(query(code)), "1/102") << code;
    }
}

TEST_F(Queries, FormatRecordsAreServedByIndex) {
    static constexpr TDR_PixelFormat kFormats[] = {
        {2, 8, 9, {5, 6}}, {0, 3, 4, {}}, {33, 1, 2, {}}};
    driver->formats = kFormats;
    driver->formatCount = 3;
    std::vector<std::int32_t> wide = {32, 1, 2};
    wide.resize(35);
    struct {
        const char* name;
        std::vector<std::int32_t> question;
        std::vector<std::int32_t> answer;
    } const cases[] = {
        {"first", {0}, {2, 8, 9, 5, 6}},
        {"no index asks for the first", {}, {2, 8, 9, 5, 6}},
        {"no channels", {1}, {0, 3, 4}},
        {"below", {-1}, {}},
        {"more channels than a record has", {2}, wide},
        {"above", {3}, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const IPC_DataPacket p = ask(query(1028, c.question));
        EXPECT_EQ(p.datacmd[5], 1128);
        EXPECT_EQ(longsOf(p), c.answer);
    }
    // "above" was the last: the slots beyond the count
    EXPECT_EQ((std::vector(driver->data.longdata, driver->data.longdata + 3)),
              (std::vector<std::int32_t>{0, 8, 8}));
}

TEST_F(Queries, TextThatDoesNotFitAPacketIsAnErrorReply) {
    driver->set_default_pre_read_cmd(std::string(2047, 'x').c_str());
    EXPECT_EQ(ask(query(1036)).numof_chars, 2048);
    driver->set_default_pre_read_cmd(std::string(2048, 'x').c_str());
    EXPECT_EQ(handle(query(1036)), "1/102");

    const std::string tooLong(2046, 'x');
    driver->namingTemplate = tooLong.c_str() + 1;
    EXPECT_EQ(textOf(ask(query(1039))), std::string(2, '\0') + (tooLong.c_str() + 1) + '\0');
    driver->namingTemplate = tooLong.c_str();
    EXPECT_EQ(handle(query(1039)), "1/102");
}

TEST_F(Queries, DefaultCommandsAreReportedUntilSetEmpty) {
    driver->set_default_post_write_cmd("unpack");
    EXPECT_EQ(textOf(ask(query(1037))), std::string("unpack\0", 7));
    driver->set_default_post_write_cmd("");
    EXPECT_EQ(textOf(ask(query(1037))), std::string(1, '\0'));
}

} // namespace
