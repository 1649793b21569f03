// SPDX-License-Identifier: MIT
// The common file header, the two string encodings and user-data blocks.
#include "tinyFile.h"

#include "foreign_image/testBytes.h"
#include "support/captureStderr.h"

#include <gtest/gtest.h>

namespace {

using namespace testbytes;

/// A header of the given version (four bytes) with an empty comment, and a type word.
std::string headerOf(const std::string& version) {
    return kBinaryHeader.substr(0, 4) + version + std::string(80, '\0') + "PICT";
}

TEST(FileHeader, BinaryIsMagicVersionAndPaddedComment) {
    const support::CaptureStderr captured;
    const std::string long90(90, 'x');
    const std::pair<const char*, std::string> cases[] = {
        {nullptr, "No comment..." + std::string(67, '\0')},
        {"", std::string(80, '\0')},
        {"hello", "hello" + std::string(75, '\0')},
        {long90.c_str(), std::string(80, 'x')},
    };
    for (const auto& [given, field] : cases) {
        const std::string bytes =
            written([&, g = given](std::FILE* f) { EXPECT_EQ(headerWriteBinary(f, g), 1); });
        EXPECT_EQ(bytes, kBinaryHeader.substr(0, 8) + field);
        float version = 0;
        char comment[kFileCommentSize];
        EXPECT_EQ(headerReadBinary(streamOf(bytes + "STAG").get(), &version, comment),
                  typeWord("STAG"));
        EXPECT_EQ(version, 2.6F);
        EXPECT_EQ(std::string(comment, sizeof comment), field);
    }
    EXPECT_EQ(captured.text(), "");
}

TEST(FileHeader, ANewerVersionWarnsAndIsRead) {
    const std::string both = "Warning, file version 2.7 is later than DKit release version 2.6\n"
                             "Attempt to read: An error may occur...\n";
    const struct {
        std::string version;
        int level;
        std::string message;
    } cases[] = {
        {"\x40\x2C\xCC\xCD"s, 1, both}, // 2.7
        {"\x40\x2C\xCC\xCD"s, 0, ""},
        {"\x40\x20\x00\x00"s, 1, ""}, // 2.5
        {"\x7F\xC0\x00\x00"s, 1, ""}, // not a number
    };
    for (const auto& row : cases) {
        const support::CaptureStderr captured;
        option.level = row.level;
        EXPECT_EQ(headerReadBinary(streamOf(headerOf(row.version)).get(), nullptr, nullptr),
                  typeWord("PICT"));
        optionReset();
        EXPECT_EQ(captured.text(), row.message);
    }
}

TEST(FileHeader, AnotherMagicConsumes88BytesAndFailsAsACutOneDoes) {
    const base::UniqueFile stream = streamOf("\x54" + headerOf("abcd").substr(1) + "rest");
    float version = 1;
    char comment[kFileCommentSize] = {'x'};
    EXPECT_EQ(headerReadBinary(stream.get(), &version, comment), 0U);
    EXPECT_EQ(std::ftell(stream.get()), 88);
    EXPECT_EQ(version, 0.0F);
    EXPECT_EQ(comment[0], '\0');
    forEachTruncation(headerOf("\x40\x26\x66\x66"s), 0, [](const std::string& cut) {
        EXPECT_EQ(headerReadBinary(streamOf(cut).get(), nullptr, nullptr), 0U) << cut.size();
    });
}

TEST(FileHeader, AsciiIsOneLineAndAnEmptyOne) {
    EXPECT_EQ(written([](std::FILE* f) { EXPECT_EQ(headerWriteAscii(f, "SCEN"), 1); }),
              "SCEN: Niofle v2.60\n\n");
}

TEST(FileHeader, AsciiReadsTheTypeWordAndDropsTheLine) {
    const struct {
        std::string text;
        std::uint32_t type;
        std::string rest;
    } cases[] = {
        {"SCEN: Niofle v2.60\n\nfps 25", typeWord("SCEN"), "\nfps 25"},
        {"SPLN" + std::string(86, 'x') + "\n", typeWord("SPLN"), "xxxxxxx\n"}, // 90 bytes
        {"HRCH", typeWord("HRCH"), ""},
        {"HR", 0, ""},
        {"", 0, ""},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.text);
        const base::UniqueFile stream = streamOf(row.text);
        float version = 5;
        EXPECT_EQ(headerReadAscii(stream.get(), &version), row.type);
        EXPECT_EQ(version, 0.0F);
        EXPECT_EQ(restOf(stream.get()), row.rest);
    }
}

TEST(FileStrings, BinaryEndsWithAZero) {
    EXPECT_EQ(written([](std::FILE* f) {
                  EXPECT_EQ(stringWriteBinary(f, "ab"), 1);
                  EXPECT_EQ(stringWriteBinary(f, ""), 1);
                  EXPECT_EQ(stringWriteBinary(f, nullptr), 0);
              }),
              "ab\0\0\0"s);
}

TEST(FileStrings, LongOnesAreCutAndConsumed) {
    const std::string x255(255, 'x');
    const struct {
        char* (*read)(std::FILE*);
        std::string file;
        const char* value; ///< null: no string
        int next;          ///< the character after it
    } cases[] = {
        {stringReadBinary, "\0n"s, "", 'n'},
        {stringReadBinary, "ab\0n"s, "ab", 'n'},
        // Cut by the file.
        {stringReadBinary, "ab", "ab", EOF},
        // No file at all.
        {stringReadBinary, "", "", EOF},
        {stringReadBinary, x255 + "\0n"s, x255.c_str(), 'n'},
        {stringReadBinary, x255 + "x\0n"s, x255.c_str(), 'n'},
        {stringReadBinary, std::string(9999, 'x') + "\0n"s, x255.c_str(), 'n'},
        {stringReadAscii, " \"\"n", "", 'n'},
        // Blanks and lines inside.
        {stringReadAscii, "junk \"a b\nc\"n", "a b\nc", 'n'},
        // Quoted, cut by the file.
        {stringReadAscii, "\"ab", "ab", EOF},
        // No quote.
        {stringReadAscii, "abc", nullptr, EOF},
        {stringReadAscii, "\"" + x255 + "x\"n", x255.c_str(), 'n'},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.file.substr(0, 20));
        const base::UniqueFile stream = streamOf(row.file);
        const MallocString string(row.read(stream.get()));
        EXPECT_STREQ(string.get(), row.value);
        EXPECT_EQ(std::getc(stream.get()), row.next);
    }
}

using UniqueUserData = std::unique_ptr<UserData, UserDataDisposer>;

std::string block(std::string bytes) {
    const UserData record = {{'A', 'B', 'C', 'D'},
                             static_cast<std::int32_t>(bytes.size()),
                             reinterpret_cast<std::uint8_t*>(bytes.data()),
                             nullptr};
    return written([&](std::FILE* f) { EXPECT_EQ(userDataWriteAscii(f, &record, "  "), 4); });
}

TEST(FileUserData, RowsHold24BytesAndAreRead) {
    const std::string row24 = "\t" + repeated(24, "00 ") + "\n";
    const struct {
        std::string bytes, text;
    } cases[] = {
        {"", "size 0\n  {\n"},
        {"\x01\xAB\x10", "size 3\n  {\n\t01 ab 10 \n"},
        {std::string(24, '\0'), "size 24\n  {\n" + row24},
        {std::string(49, '\0'), "size 49\n  {\n" + row24 + row24 + "\t00 \n"},
    };
    for (const auto& [bytes, text] : cases) {
        EXPECT_EQ(block(bytes), "\n  userData \"ABCD\"\n  " + text + "  }\n");
        const base::UniqueFile stream = streamOf(block(bytes) + "next");
        const UniqueUserData record(userDataReadAscii(stream.get()));
        ASSERT_NE(record, nullptr);
        EXPECT_EQ(std::string(record->tag, 4), "ABCD");
        ASSERT_EQ(record->size, std::ssize(bytes));
        EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), reinterpret_cast<char*>(record->data)));
        EXPECT_EQ(restOf(stream.get()), "\nnext");
    }
}

TEST(FileUserData, DamageIsBoundedByTheFile) {
    const std::pair<const char*, std::int32_t> cases[] = {
        {"\"ABCDEF\"", 0},
        {"\"AB\" size 2000000000 { 1 2 3 }", 3},
        {"\"AB\" size -5 { 1 2 3 }", 0},
        {"\"AB\" size 99999999999999999999 { 1 2 }", 2},
        {"\"AB\" { 1 2 }", 0},
        {"\"AB\" size 7 }", 0},
        {"\"AB\" size 2 { 1 2", 2},
        {"\"AB\" size 3 { 1 zz 3 }", 1},
        {"\"AB\" size 3 { 1 2 3 } size 1 { 4 } ", 3},
        {"\"AB\" size 3 { 1 2 3 size 1 { 4 } ", 1},
    };
    for (const auto& [text, size] : cases) {
        const UniqueUserData record(userDataReadAscii(streamOf(text).get()));
        ASSERT_NE(record, nullptr) << text;
        EXPECT_EQ(record->size, size) << text;
        EXPECT_EQ(record->data == nullptr, size == 0) << text;
    }
    EXPECT_EQ(userDataReadAscii(streamOf("").get()), nullptr);
}

} // namespace
