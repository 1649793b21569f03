// SPDX-License-Identifier: MIT
#include "recordingDriver.h"

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
    std::string answers;
    for (int code = 1024; code <= 1039; ++code) {
        const IPC_DataPacket p = ask(query(code));
        EXPECT_EQ(std::vector<int>(p.datacmd, p.datacmd + 6),
                  (std::vector{102, 39, 7, 8, 1, code + 100}));
        answers += std::to_string(code) + ":";
        for (const std::int32_t value : longsOf(p)) {
            answers += " " + std::to_string(value);
        }
        std::string text = textOf(p);
        EXPECT_EQ(std::ranges::count(text, '\0'), p.numof_strings);
        std::ranges::replace(text, '\0', ';');
        answers += " " + text + "\n";
    }
    EXPECT_EQ(answers,
              "1024: 0 \n1025: Tarvo Works;\n1026: 0 \n1027: -1 \n1028: \n1029: 0 0 -1 -1 \n"
              "1030: 1 1 \n1031: 0 0 \n1032: 2147483647 \n1033: (none);\n"
              "1034: -2147483648 \n1035: 2147483647 \n1036: ;\n1037: ;\n1038: 0 \n"
              "1039: 0 ;;;\n");
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
