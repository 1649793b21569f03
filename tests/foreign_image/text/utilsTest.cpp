// SPDX-License-Identifier: MIT
// Tokens, numbers, quoted strings, indentation, vectors, scalars and triples.
#include "file/tinyNumberText.h"
#include "foreign_image/animText.h"
#include "support/failingStream.h"
#include "text/tinyTextFile.h"
#include "text/tinyUtilsText.h"
#include "tinyFile.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <limits>
#include <random>
#include <tuple>

namespace {

using namespace animtext;

class UtilsTest : public AnimText {};

TEST_F(UtilsTest, OnlyBlankTabAndNewlineSeparateTokens) {
    const Input in(" \t\n\n  FOO\r\n{one}  two");
    for (const auto& [token, line] : {std::pair("FOO\r", 3), std::pair("{one}", 4)}) {
        EXPECT_EQ(in_animToken(in), 1);
        EXPECT_STREQ(animToken, token);
        EXPECT_EQ(animTokenLineNumber(), line);
    }
    EXPECT_EQ(in.rest(), " two") << "of the blanks one is consumed";
    const Input last("BAR");
    EXPECT_EQ(in_animToken(last), 1) << "a token that the end of the file ends is one";
    EXPECT_EQ(in_animToken(last), 0);
    EXPECT_STREQ(animToken, "");
}

TEST_F(UtilsTest, ASurplusThatCannotBeReadIsNotNone) {
    for (const bool fails : {false, true}) {
        support::FailingStream blanks(" ", fails ? 2 : 99);
        EXPECT_EQ(text::reportSurplus(text::Reader::on(blanks.get(), text::kFileStyle)), !fails);
        support::FailingStream bytes("0123456789", fails ? 2 : 99);
        EXPECT_EQ(binary::reportSurplus(bytes.get()), !fails);
        EXPECT_EQ(notices(), fails ? "" : "surplus  0;") << "of bytes that are not known";
    }
}

TEST_F(UtilsTest, LongTokensAreCutAndTheRestConsumed) {
    for (const std::size_t length : {238U, 239U, 240U, 5000U}) {
        const Input in(std::string(length, 'x') + " next");
        EXPECT_EQ(in_animToken(in), 1);
        EXPECT_EQ(std::string(animToken), std::string(std::min<std::size_t>(length, 239), 'x'));
        EXPECT_EQ(notices().empty(), length <= 239) << length;
        EXPECT_EQ(in_animToken(in), 1);
        EXPECT_STREQ(animToken, "next") << length;
    }
}

constexpr float kLargest = std::numeric_limits<float>::max();

TEST_F(UtilsTest, NumbersConvertAsTheLibraryDoes) {
    std::istringstream words(
        "0|42|-7|+7|1.5e2|-.5|5.|1,5|12abc|1e|\r3\r|0x10|0x|-0X1.8p1|0x.8|0x.|0x1p-2000|abc||+-3|"
        "1e39|-1e999|0e999|1e-999|1e+3|70000|4294967298|99999999999999999999|"
        "-99999999999999999999|9223372036854775808");
    for (std::string word; std::getline(words, word, '|');) {
        const char* chars = word.c_str();
        const double real =
            std::clamp(std::strtod(chars, nullptr), double{-kLargest}, double{kLargest});
        EXPECT_EQ(text::toInt(chars, INT64_MIN, INT64_MAX),
                  static_cast<std::int32_t>(std::strtol(chars, nullptr, 10)))
            << word;
        EXPECT_EQ(text::toFloat(chars), static_cast<float>(real)) << word;
    }
    for (const char* word : {"INF", "-infinity", "INFINITE", "nan(1)"}) {
        EXPECT_EQ(text::toFloat(word), 0.0F) << word << ", which is not a number here";
    }
}

TEST_F(UtilsTest, TypedReadersReportWhatIsNoneOrDoesNotFitAndStoreNothingAtTheEnd) {
    enum Type { kShort, kLong, kFloat };
    const struct {
        Type type;
        const char* word;
        float value;
        bool good = true;
    } cases[] = {
        {kShort, "32767", 32767},
        {kShort, "-32768\r", -32768},
        {kShort, "70000", 4464, false}, // only the low 16 bits
        {kShort, "12x", 12, false},
        {kShort, "thirty", 0, false},
        {kLong, "70000", 70000},
        {kLong, "-2147483648", -2147483648.0F},
        {kLong, "2147483648", -2147483648.0F, false},
        {kFloat, "-0.5e3", -500},
        {kFloat, ".5\r", 0.5F},
        {kFloat, "0,9", 0, false},
        {kFloat, "-", 0, false},
        {kFloat, "1e39", kLargest, false},
        {kFloat, "INF", 0, false},
    };
    for (const auto& [type, word, value, good] : cases) {
        SCOPED_TRACE(word);
        std::int16_t small = 7;
        std::int32_t large = 7;
        float real = 7;
        const auto read = [&, type = type](const char* text) {
            return type == kShort
                       ? in_animSValue(Input(text), &small) + in_animSValue_na(Input(text))
                   : type == kLong
                       ? in_animLValue(Input(text), &large)
                       : in_animFValue(Input(text), &real) + in_animFValue_na(Input(text));
        };
        EXPECT_EQ(read(word), type == kLong ? 1 : 2);
        EXPECT_EQ(notices().empty(), good);
        EXPECT_EQ(read(" "), 0);
        EXPECT_EQ(notices().substr(0, 9), "missing  ");
        EXPECT_EQ(type == kShort ? small : type == kLong ? static_cast<float>(large) : real, value);
        EXPECT_EQ(type == kShort ? animSValue : type == kFloat ? animFValue : value, value);
        EXPECT_FALSE(value == 0 && std::signbit(real));
    }
}

TEST_F(UtilsTest, QuotedStrings) {
    const std::string long237(237, 'a');
    const std::string long300 = long237 + std::string(63, 'b');
    const struct {
        std::string text;
        const char *result, *rest; ///< null for no string
        std::string notices = "";
    } cases[] = {
        {" \n'a name' NEXT", "a name", " NEXT"},
        {"'a\n\tb'", "a\n\tb", ""},
        {"'' x", nullptr, " x"},
        {" \t\n", nullptr, "", "missing  2;"},
        {"'abc", "abc", "", "missing  1;"},
        {"Xab'c", "ab", "c"},
        {"X'", "", ""},
        {"'" + long237 + "'z", long237.c_str(), "z"},
        {"'" + long300 + "'z", long237.c_str(), "z", "cut '" + long237 + "' 1;"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        const Input in(c.text);
        animSetLineNumber(1);
        const MallocString got(stringReadAsciiAnimation(in));
        EXPECT_STREQ(got.get(), c.result);
        EXPECT_EQ(in.rest(), c.rest);
        EXPECT_EQ(notices(), c.notices);
    }
}

TEST_F(UtilsTest, IndentationFollowsItsDepth) {
    const auto newLine = [] { return written(animWriteNewLine); };
    EXPECT_EQ(animIndentString, nullptr);
    EXPECT_EQ(newLine(), "\n") << "before anybody has set a depth";
    incIndent(2);
    EXPECT_STREQ(animIndentString, "\n      ");
    setIndentLength(1);
    EXPECT_EQ(newLine(), "\n      ") << "setting the depth changes no text";
    incIndent(0);
    EXPECT_EQ(newLine(), "\n   ");
    incIndent(-5);
    EXPECT_EQ(animIndentLength, 0);
    EXPECT_STREQ(animIndentString, "\n");
    incIndent(std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(animIndentLength, 1000) << "bounded";
    incIndent(std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(animIndentLength, 0);
}

TEST_F(UtilsTest, VectorsStandOnADeeperLineAndAreReadFromAny) {
    Vector vector = {1.0F, -2.5F, 1e-7F};
    HVector hvector = {1.0F, 2.0F, 3.0F, 123456789.0F};
    EXPECT_EQ(written([&](std::FILE* f) {
                  incIndent(1);
                  EXPECT_EQ(vectorWriteAsciiAnimation(f, &vector), 1);
                  EXPECT_EQ(hvectorWriteAsciiAnimation(f, &hvector), 1);
                  EXPECT_EQ(vectorWriteAsciiAnimation(f, nullptr), 0);
                  EXPECT_EQ(hvectorWriteAsciiAnimation(f, nullptr), 0);
              }),
              "\n      1 -2.5 1e-07 \n      1 2 3 1.23457e+08 ");
    EXPECT_EQ(animIndentLength, 1);
    const Input in("1 2 3 4 5 6 7 a b c rest 8");
    EXPECT_EQ(vectorReadAsciiAnimation(in, &vector), 1);
    EXPECT_EQ(hvectorReadAsciiAnimation(in, &hvector), 1);
    EXPECT_EQ(vector.z + hvector.w, 10.0F);
    EXPECT_EQ(vectorReadAsciiAnimation(in, nullptr), 0);
    EXPECT_STREQ(animToken, "c");
    EXPECT_EQ(in_animToken(in), 1);
    EXPECT_EQ(vectorReadAsciiAnimation(in, &vector), 0) << "cut short";
    EXPECT_EQ(vector.x, 8.0F);
    EXPECT_EQ(vector.y, 0.0F);
}

/// A curve of one key at time 0.
Curve constantCurve(std::int16_t type, float value) {
    Curve curve(fcurveAllocate());
    curve->type = type;
    curve->keys = fcvkeyAllocate(1);
    curve->keyCount = 1;
    curve->keys[0].value = value;
    return curve;
}

TEST_F(UtilsTest, ScalarsAreNumbersOrCurves) {
    const Curve curve = constantCurve(12, 41.5F);
    const auto scalar = [](const Fcurve* c) {
        return written([c](std::FILE* f) { EXPECT_EQ(valueWriteAsciiAnimation(f, 2.0F, c), 1); });
    };
    EXPECT_EQ(scalar(nullptr), "2 ");
    const struct {
        std::string text; ///< the current token is "5"
        int readFirst, result;
        float value, curve; ///< -1: unchanged
        const char* token;
    } cases[] = {{scalar(curve.get()) + "NEXT", 1, 1, -1.0F, 41.5F, "NEXT"},
                 {"3 ROLL 7", 1, 1, 3.0F, 0, "ROLL"},
                 {"7", 1, 1, 7.0F, 0, ""},
                 {" ", 1, 0, -1.0F, 0, ""},
                 {"6", 0, 1, 5.0F, 0, "6"}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.text);
        in_animToken(Input("5"));
        float value = -1.0F;
        Fcurve* read = nullptr;
        EXPECT_EQ(valueReadAsciiAnimation(Input(row.text), &value, &read, row.readFirst),
                  row.result);
        EXPECT_EQ(fcurveValue(Curve(read).get(), 5.0F), row.curve);
        EXPECT_EQ(value, row.value);
        EXPECT_STREQ(animToken, row.token);
    }
}

TEST_F(UtilsTest, TheFirstCurveDecidesHowATripleIsWritten) {
    const Curve curve = constantCurve(22, 9.0F);
    const auto triple = [](const Fcurve* x, const Fcurve* y) {
        return written([&](std::FILE* f) {
            EXPECT_EQ(value3WriteAsciiAnimation(f, 1.0F, 2.0F, 3.0F, x, y, nullptr), 1);
        });
    };
    const std::string single = triple(curve.get(), nullptr);
    EXPECT_EQ(triple(nullptr, curve.get()), "1 2 3 ");
    EXPECT_EQ(triple(curve.get(), curve.get()), single + single);

    const struct {
        std::string text;
        int result;
        float x, z;
        int curves;
        const char* token;
    } cases[] = {{" 1 2 3 NEXT", 1, 1, 3, 0, "NEXT"},
                 {"4", 1, 4, -1, 0, ""},
                 {" ", 0, -1, -1, 0, ""},
                 {single + single + single + "NEXT", 1, -1, -1, 3, "NEXT"},
                 {single + single + "CURVE_TYPE", 1, -1, -1, 2, ""}}; // two of three are enough
    for (const auto& row : cases) {
        SCOPED_TRACE(row.text);
        float x = -1.0F;
        float z = -1.0F;
        Fcurve* read[3] = {};
        EXPECT_EQ(value3ReadAsciiAnimation(Input(row.text), &x, nullptr, &z, &read[0], &read[1],
                                           &read[2]),
                  row.result);
        EXPECT_EQ(std::pair(x, z), std::pair(row.x, row.z));
        EXPECT_STREQ(animToken, row.token);
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(fcurveValue(read[i], 0.0F), i < row.curves ? 9.0F : 0.0F);
        }
        fcurveArrayDispose(read, 3);
    }
}

TEST_F(UtilsTest, WhatIsWrittenIsAlwaysANumber) {
    const float values[] = {
        std::numeric_limits<float>::infinity(),   -kLargest, std::nanf(""), -0.0F,
        std::numeric_limits<float>::denorm_min(), 0.1F,      1e6F,          999999.5F};
    EXPECT_EQ(written([&](std::FILE* f) {
                  for (const float value : values) {
                      text::putFloat(f, value);
                  }
              }),
              "3.40282e+38 -3.40282e+38 0 -0 1.4013e-45 0.1 1e+06 1e+06 ");
    EXPECT_EQ(written([&](std::FILE* f) {
                  for (const float value : {1.0F, 2.5F, -3.0F, 12345.678F, std::nanf("")}) {
                      text::putFixed(f, value);
                      std::fputc('|', f);
                  }
                  std::tie(FM, FD) = std::pair(9, 1);
                  text::putFixed(f, 2.5F);
                  std::tie(FM, FD) = std::pair(5, 3);
              }),
              "1.000|2.500|-3.000|12345.678|0.000|      2.5");
}

/// Checks that a number is written as `printf` does, and that the text is read as `strtod` does.
void expectAsLibrary(double value) {
    char text[400];
    for (const int decimals : {-1, 0, 1, 3, 5, 7, 8}) {
        std::snprintf(text, sizeof text, decimals < 0 ? "%.*g" : "%.*f",
                      decimals < 0 ? 6 : decimals, value);
        const NumberText ours = decimals < 0 ? NumberText(value) : NumberText(value, decimals);
        ASSERT_EQ(ours.view(), text) << decimals;
        const double real =
            std::clamp(std::strtod(text, nullptr), double{-kLargest}, double{kLargest});
        ASSERT_EQ(text::parseFloat(text).value, static_cast<float>(real)) << text;
    }
}

TEST_F(UtilsTest, NumbersHaveTheDigitsOfTheLibrary) {
    std::mt19937 random(5);
    std::uniform_real_distribution<double> mantissas(-1, 1);
    for (int power = -8; power < 12; ++power) {
        const double scale = std::pow(10.0, power);
        for (const double factor : {1.0, 1 - 5e-7, 1 - 5e-8, 1.5, 1234567.5, 0.9999995}) {
            for (const double towards : {-1e300, factor * scale, 1e300}) {
                expectAsLibrary(std::nextafter(factor * scale, towards));
                expectAsLibrary(-std::nextafter(factor * scale, towards));
            }
        }
        for (int i = 0; i < 200; ++i) {
            const double value = mantissas(random) * scale;
            const double middle = std::floor(value / scale * 1e6) + 0.5; // between two texts
            expectAsLibrary(value);
            expectAsLibrary(static_cast<float>(value));
            expectAsLibrary(
                std::bit_cast<float>(static_cast<std::uint32_t>(random()) & ~0x40000000U));
            expectAsLibrary(middle * scale / 1e6);
        }
    }
}

/// Reads a word as the next one, as one that is expected, or as a number; what was read.
std::string readAs(int way, text::Reader& reader) {
    float real = 0.0F;
    std::int16_t whole = 0;
    const bool number = way == 2   ? reader.number(real)
                        : way == 3 ? reader.number(whole)
                        : way == 4 ? reader.value(real)
                        : way == 5 ? reader.value(whole)
                                   : false;
    const bool taken = number || (way == 1 && reader.nextIs("TIME"));
    if (!taken && way < 4) {
        static_cast<void>(reader.next());
    }
    return number ? std::to_string(real) + "," + std::to_string(whole) + "=" : "";
}

/// The words of a text, with their lines, lengths and notices, if the stream reads so many bytes at
/// a time. They are read in every way in turn, the first one in the way `first`.
std::string wordsInPieces(std::string_view bytes, std::size_t piece, const text::Style& style,
                          int first) {
    const Input in(bytes, piece);
    animSetLineNumber(1);
    text::Reader& reader = text::Reader::on(in, style);
    std::string all;
    for (int i = first; !reader.atEnd() || i == first; ++i) {
        all += readAs(i % 6, reader);
        all += std::string(reader.word()) + "@" + std::to_string(animTokenLineNumber()) + ">" +
               std::to_string(reader.line()) + " ";
    }
    return all;
}

TEST_F(UtilsTest, WordsAreTheSameHoweverTheStreamIsBuffered) {
    using namespace std::string_literals;
    const std::string text =
        "one\n\n         two{3}!|~\xc3\xa9 -1.5e+3x\t\t12345678 1234567890123456\n" +
        std::string(300, 'a') + " \0 b\0c \"q q\" 'r s'\r\n}\x7f\v\f\x01 TIME TIMES TIME\t"s +
        "32767 -32768 32768 70000 2.5 -0 -0.25 .5 1. 007 1.2.3 5x - 123456.7890123 "
        "-12345678.1234567\n     TIME\n" +
        std::string(40, ' ') + "9 TIME\n        1\n            \n    -7.125 TIM 12.5e1 end";
    for (const text::Style* style : {&text::kAnimationStyle, &text::kFileStyle}) {
        for (int first = 0; first < 6; ++first) {
            const std::string single = wordsInPieces(text, 1, *style, first);
            const std::string told = notices();
            EXPECT_GE(std::ranges::count(told, ';'), 3) << "a long word and two zero bytes";
            for (std::size_t piece = 2; piece < 60; ++piece) {
                EXPECT_EQ(wordsInPieces(text, piece, *style, first), single) << piece;
                EXPECT_EQ(notices(), told) << piece;
            }
            EXPECT_EQ(wordsInPieces(text, 4096, *style, first), single);
            EXPECT_EQ(notices(), told);
        }
    }
}

TEST_F(UtilsTest, WordReaderReadsAsScanf) {
    const Input in("  word\r\n\v{ -3.5e1} 12x +7 .5.. e5");
    text::Reader& words = text::Reader::on(in, text::kFileStyle);
    float real = 0.0F;
    std::int16_t whole = 0;
    const auto word = [&words] { return words.next() ? words.word() : ""; };
    EXPECT_EQ(word(), "word") << "a carriage return is white space here";
    EXPECT_EQ(word(), "{");
    EXPECT_EQ(animTokenLineNumber(), 2);
    EXPECT_TRUE(words.number(real) && real == -35.0F);
    EXPECT_FALSE(words.number(real)) << "a brace stays";
    EXPECT_EQ(word(), "}");
    EXPECT_TRUE(words.number(whole) && whole == 12);
    EXPECT_EQ(word(), "x");
    EXPECT_TRUE(words.number(whole) && whole == 7);
    EXPECT_TRUE(words.number(real) && real == 0.5F);
    EXPECT_FALSE(words.number(real)) << "an exponent alone is none";
    EXPECT_EQ(in.rest(), "e5");
}

} // namespace
