// SPDX-License-Identifier: MIT
// The common file header, the two string encodings and user-data blocks.
#include "tinyFile.h"

#include "base/uniqueFile.h"
#include "support/captureStderr.h"

#include <clocale>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <sys/mman.h>

namespace {

using namespace std::string_literals;

/// A stream over these bytes.
base::UniqueFile streamOf(const std::string& bytes) {
    base::UniqueFile stream(fdopen(memfd_create("file", MFD_CLOEXEC), "w+"));
    std::fwrite(bytes.data(), 1, bytes.size(), stream.get());
    std::rewind(stream.get());
    return stream;
}

std::string contentOf(std::FILE* stream) {
    std::rewind(stream);
    std::string all;
    for (int c = std::getc(stream); c != EOF; c = std::getc(stream)) {
        all.push_back(static_cast<char>(c));
    }
    return all;
}

const std::string kMagicAnd26 = "\x53\x80\xF6\x34\x40\x26\x66\x66"s;

/// A header of the given version (four bytes) with an empty comment, and a type word.
std::string headerOf(const std::string& version, const std::string& type = "PICT") {
    return kMagicAnd26.substr(0, 4) + version + std::string(80, '\0') + type;
}

TEST(FileHeader, BinaryIsMagicVersionAndPaddedComment) {
    const std::string long90(90, 'x');
    const struct {
        const char* comment;
        std::string field;
    } cases[] = {
        {nullptr, "No comment..." + std::string(67, '\0')},
        {"", std::string(80, '\0')},
        {"hello", "hello" + std::string(75, '\0')},
        {long90.c_str(), std::string(80, 'x')},
    };
    for (const auto& row : cases) {
        const base::UniqueFile stream = streamOf("");
        EXPECT_EQ(headerWriteBinary(stream.get(), row.comment), 1);
        EXPECT_EQ(contentOf(stream.get()), kMagicAnd26 + row.field);
    }
}

TEST(FileHeader, BinaryReadsBackWithoutAWarning) {
    const support::CaptureStderr captured;
    const base::UniqueFile stream = streamOf("");
    headerWriteBinary(stream.get(), "made by hand");
    std::fputs("STAG", stream.get());
    std::rewind(stream.get());
    float version = 0;
    char comment[kFileCommentSize];
    EXPECT_EQ(headerReadBinary(stream.get(), &version, comment), typeWord("STAG"));
    EXPECT_EQ(version, 2.6F);
    EXPECT_STREQ(comment, "made by hand");
    EXPECT_EQ(captured.text(), "");
}

TEST(FileHeader, ANewerVersionWarnsAndIsRead) {
    const std::string both = "Warning, file version 2.7 is later than DKit release version 2.6\n"
                             "Attempt to read: An error may occur...\n";
    const struct {
        const char* name;
        std::string version;
        int level;
        std::string message;
    } cases[] = {
        {"2.7", "\x40\x2C\xCC\xCD"s, 1, both},
        {"2.7, messages off", "\x40\x2C\xCC\xCD"s, 0, ""},
        {"2.5", "\x40\x20\x00\x00"s, 1, ""},
        {"not a number", "\x7F\xC0\x00\x00"s, 1, ""},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        const support::CaptureStderr captured;
        option.level = row.level;
        const base::UniqueFile stream = streamOf(headerOf(row.version));
        EXPECT_EQ(headerReadBinary(stream.get(), nullptr, nullptr), typeWord("PICT"));
        optionReset();
        EXPECT_EQ(captured.text(), row.message);
    }
}

TEST(FileHeader, AnotherMagicConsumes88BytesAndFails) {
    const base::UniqueFile stream = streamOf("\x54" + headerOf("abcd").substr(1) + "rest");
    float version = 1;
    char comment[kFileCommentSize] = {'x'};
    EXPECT_EQ(headerReadBinary(stream.get(), &version, comment), 0U);
    EXPECT_EQ(std::ftell(stream.get()), 88);
    EXPECT_EQ(version, 0.0F);
    EXPECT_EQ(comment[0], '\0');
}

TEST(FileHeader, EveryTruncationFails) {
    const std::string whole = headerOf("\x40\x26\x66\x66"s);
    for (std::size_t size = 0; size < whole.size(); ++size) {
        const base::UniqueFile stream = streamOf(whole.substr(0, size));
        EXPECT_EQ(headerReadBinary(stream.get(), nullptr, nullptr), 0U) << size;
    }
}

TEST(FileHeader, AsciiIsOneLineAndAnEmptyOneInEveryLocale) {
    for (const char* locale : {"C", "de_DE.UTF-8", "fr_FR.UTF-8"}) {
        std::setlocale(LC_ALL, locale);
        const base::UniqueFile stream = streamOf("");
        EXPECT_EQ(headerWriteAscii(stream.get(), "SCEN"), 1);
        std::setlocale(LC_ALL, "C");
        EXPECT_EQ(contentOf(stream.get()), "SCEN: Niofle v2.60\n\n");
    }
}

TEST(FileHeader, AsciiReadsTheTypeWordAndDropsTheLine) {
    const struct {
        const char* name;
        std::string text;
        std::uint32_t type;
        std::string rest;
    } cases[] = {
        {"a header", "SCEN: Niofle v2.60\n\nfps 25", typeWord("SCEN"), "\nfps 25"},
        {"a line of 90 bytes", "SPLN" + std::string(86, 'x') + "\n", typeWord("SPLN"), "xxxxxxx\n"},
        {"only a word", "HRCH", typeWord("HRCH"), ""},
        {"too short", "HR", 0, ""},
        {"nothing", "", 0, ""},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        const base::UniqueFile stream = streamOf(row.text);
        float version = 5;
        EXPECT_EQ(headerReadAscii(stream.get(), &version), row.type);
        EXPECT_EQ(version, 0.0F);
        std::string rest;
        for (int c = std::getc(stream.get()); c != EOF; c = std::getc(stream.get())) {
            rest.push_back(static_cast<char>(c));
        }
        EXPECT_EQ(rest, row.rest);
    }
}

TEST(FileStrings, BinaryEndsWithAZero) {
    const base::UniqueFile stream = streamOf("");
    EXPECT_EQ(stringWriteBinary(stream.get(), "ab"), 1);
    EXPECT_EQ(stringWriteBinary(stream.get(), ""), 1);
    EXPECT_EQ(stringWriteBinary(stream.get(), nullptr), 0);
    EXPECT_EQ(contentOf(stream.get()), "ab\0\0\0"s);
}

struct StringCase {
    const char* name;
    std::string file;
    const char* value; ///< null: no string
    int next;          ///< the character after it
};

void expectString(const StringCase& row, char* (*read)(std::FILE*)) {
    SCOPED_TRACE(row.name);
    const base::UniqueFile stream = streamOf(row.file);
    const MallocString string(read(stream.get()));
    EXPECT_STREQ(string.get(), row.value);
    EXPECT_EQ(std::getc(stream.get()), row.next);
}

TEST(FileStrings, LongOnesAreCutAndConsumed) {
    const std::string x255(255, 'x');
    const std::string x256(256, 'x');
    const std::string x9999(9999, 'x');
    const StringCase binary[] = {
        {"empty", "\0n"s, "", 'n'},
        {"plain", "ab\0n"s, "ab", 'n'},
        {"cut by the file", "ab", "ab", EOF},
        {"no file at all", "", "", EOF},
        {"255", x255 + "\0n"s, x255.c_str(), 'n'},
        {"256", x256 + "\0n"s, x255.c_str(), 'n'},
        {"9999", x9999 + "\0n"s, x255.c_str(), 'n'},
    };
    for (const StringCase& row : binary) {
        expectString(row, stringReadBinary);
    }
    const StringCase quoted[] = {
        {"empty", " \"\"n", "", 'n'},
        {"blanks and lines inside", "junk \"a b\nc\"n", "a b\nc", 'n'},
        {"cut by the file", "\"ab", "ab", EOF},
        {"no quote", "abc", nullptr, EOF},
        {"256", "\"" + x256 + "\"n", x255.c_str(), 'n'},
    };
    for (const StringCase& row : quoted) {
        expectString(row, stringReadAscii);
    }
}

using UniqueUserData = std::unique_ptr<UserData, UserDataDisposer>;

std::string written(const std::string& bytes) {
    std::string copy = bytes;
    const UserData record = {{'A', 'B', 'C', 'D'},
                             static_cast<std::int32_t>(copy.size()),
                             reinterpret_cast<std::uint8_t*>(copy.data()),
                             nullptr};
    const base::UniqueFile stream = streamOf("");
    EXPECT_EQ(userDataWriteAscii(stream.get(), &record, "  "), 4);
    return contentOf(stream.get());
}

TEST(FileUserData, RowsHold24Bytes) {
    const std::string row24 = "\t00 00 00 00 00 00 00 00 00 00 00 00 "
                              "00 00 00 00 00 00 00 00 00 00 00 00 \n";
    const struct {
        const char* name;
        std::string bytes;
        std::string text;
    } cases[] = {
        {"none", "", "size 0\n  {\n"},
        {"three", "\x01\xAB\x10", "size 3\n  {\n\t01 ab 10 \n"},
        {"a whole row", std::string(24, '\0'), "size 24\n  {\n" + row24},
        {"one more", std::string(25, '\0'), "size 25\n  {\n" + row24 + "\t00 \n"},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(written(row.bytes), "\n  userData \"ABCD\"\n  " + row.text + "  }\n") << row.name;
    }
}

TEST(FileUserData, ReadsWhatWasWritten) {
    std::string bytes;
    for (int i = 0; i < 300; ++i) {
        bytes.push_back(static_cast<char>(i));
    }
    const base::UniqueFile stream = streamOf(written(bytes) + "next");
    const UniqueUserData record(userDataReadAscii(stream.get()));
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(std::string(record->tag, 4), "ABCD");
    ASSERT_EQ(record->size, 300);
    EXPECT_EQ(std::memcmp(record->data, bytes.data(), bytes.size()), 0);
    char next[8] = {};
    EXPECT_EQ(std::fscanf(stream.get(), "%7s", next), 1);
    EXPECT_STREQ(next, "next");
}

TEST(FileUserData, DamageIsBoundedByTheFile) {
    const struct {
        const char* name;
        std::string text;
        std::int32_t size; ///< -1: no record
    } cases[] = {
        {"nothing", "", -1},
        {"a tag only", "\"ABCDEF\"", 0},
        {"two billion bytes claimed", "\"AB\" size 2000000000 { 1 2 3 }", 3},
        {"a negative size", "\"AB\" size -5 { 1 2 3 }", 0},
        {"a size beyond every number", "\"AB\" size 99999999999999999999 { 1 2 }", 2},
        {"no size", "\"AB\" { 1 2 }", 0},
        {"no bytes", "\"AB\" size 7 }", 0},
        {"no closing brace", "\"AB\" size 2 { 1 2", 2},
        {"a word among the bytes", "\"AB\" size 3 { 1 zz 3 }", 1},
        {"two blocks", "\"AB\" size 3 { 1 2 3 } size 1 { 4 } ", 3},
        {"sized twice", "\"AB\" size 3 { 1 2 3 size 1 { 4 } ", 1},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        const base::UniqueFile stream = streamOf(row.text);
        const UniqueUserData record(userDataReadAscii(stream.get()));
        ASSERT_EQ(record == nullptr, row.size < 0);
        if (record != nullptr) {
            EXPECT_EQ(record->size, row.size);
            EXPECT_EQ(record->data == nullptr, row.size == 0);
        }
    }
}

} // namespace
