// SPDX-License-Identifier: MIT
// Tokens, numbers, quoted strings, indentation, vectors, scalars and triples.
#include "foreign_image/animText.h"
#include "support/commaLocale.h"
#include "text/tinyUtilsText.h"
#include "tinyFile.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace {

using namespace animtext;

class UtilsTest : public AnimText {};

TEST_F(UtilsTest, OnlyBlankTabAndNewlineSeparateTokens) {
    const Input in(" \t\n\n  FOO\r\nBAR");
    EXPECT_EQ(in_animToken(in), 1);
    EXPECT_STREQ(animToken, "FOO\r");
    EXPECT_EQ(animTokenLineNumber(), 3);
    EXPECT_EQ(in_animToken(in), 1) << "a token that the end of the file ends is one";
    EXPECT_STREQ(animToken, "BAR");
    EXPECT_EQ(animTokenLineNumber(), 4);
    EXPECT_EQ(in_animToken(in), 0);
    EXPECT_STREQ(animToken, "");
}

TEST_F(UtilsTest, TokensConsumeExactlyTheCharacterThatEndsThem) {
    const Input in("{one}  two");
    EXPECT_EQ(in_animToken(in), 1);
    EXPECT_STREQ(animToken, "{one}");
    EXPECT_EQ(in.rest(), " two");
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

TEST_F(UtilsTest, NumbersThatAreNoneOrDoNotFitAreReported) {
    std::int16_t small = 0;
    std::int32_t large = 0;
    float real = 0.0F;
    const Input in("32767 -32768\r 2147483647 -0.5e3 .5\r\n"
                   "40000 12x thirty 2147483648 0,9 -\n1e39 INF");
    in_animSValue(in, &small);
    in_animSValue(in, &small);
    in_animLValue(in, &large);
    in_animFValue(in, &real);
    in_animFValue(in, &real);
    EXPECT_EQ(notices(), "");
    in_animSValue(in, &small);
    EXPECT_EQ(small, static_cast<std::int16_t>(40000));
    in_animSValue(in, &small);
    in_animSValue(in, &small);
    EXPECT_EQ(small, 0);
    in_animLValue(in, &large);
    in_animFValue(in, &real);
    in_animFValue(in, &real);
    EXPECT_FALSE(std::signbit(real));
    in_animFValue(in, &real);
    in_animFValue(in, &real);
    EXPECT_EQ(notices(), "number 40000 2;number 12x 2;number thirty 2;number 2147483648 2;"
                         "number 0,9 2;number - 2;number 1e39 3;number INF 3;");
}

TEST_F(UtilsTest, TypedReadersStoreNothingAtEndOfFile) {
    std::int16_t small = 0;
    std::int32_t large = 0;
    float real = 0.0F;
    const Input in("70000 70000 2.5 70000 2.5");
    EXPECT_EQ(in_animSValue(in, &small), 1);
    EXPECT_EQ(small, 4464) << "only the low 16 bits";
    EXPECT_EQ(in_animLValue(in, &large), 1);
    EXPECT_EQ(large, 70000);
    EXPECT_EQ(in_animFValue(in, &real), 1);
    EXPECT_EQ(real, 2.5F);
    EXPECT_EQ(in_animSValue_na(in), 1);
    EXPECT_EQ(animSValue, 4464);
    EXPECT_EQ(in_animFValue_na(in), 1);
    EXPECT_EQ(animFValue, 2.5F);
    EXPECT_EQ(in_animSValue(in, &small) | in_animLValue(in, &large) | in_animFValue(in, &real) |
                  in_animSValue_na(in) | in_animFValue_na(in),
              0);
    EXPECT_EQ(small, 4464);
    EXPECT_EQ(large, 70000);
    EXPECT_EQ(real, 2.5F);
}

struct StringCase {
    const char* name;
    std::string text;
    const char* result; ///< null for no string
    const char* rest;
};

TEST_F(UtilsTest, QuotedStrings) {
    const std::string long237(237, 'a');
    const std::string long300 = long237 + std::string(63, 'b');
    const StringCase cases[] = {
        {"plain", " \n'a name' NEXT", "a name", " NEXT"},
        {"two lines", "'a\n\tb'", "a\n\tb", ""},
        {"empty", "'' x", nullptr, " x"},
        {"end of file", " \t\n", nullptr, ""},
        {"not closed", "'abc", "abc", ""},
        {"any first character", "Xab'c", "ab", "c"},
        {"only a first character", "X'", "", ""},
        {"longest", "'" + long237 + "'z", long237.c_str(), "z"},
        {"too long", "'" + long300 + "'z", long237.c_str(), "z"},
    };
    for (const StringCase& c : cases) {
        SCOPED_TRACE(c.name);
        const Input in(c.text);
        const MallocString got(stringReadAsciiAnimation(in));
        EXPECT_STREQ(got.get(), c.result);
        EXPECT_EQ(in.rest(), c.rest);
        EXPECT_EQ(!notices().empty(), c.text.size() > 300);
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

TEST_F(UtilsTest, VectorsStandOnADeeperLine) {
    const Vector vector = {1.0F, -2.5F, 1e-7F};
    const HVector hvector = {1.0F, 2.0F, 3.0F, 123456789.0F};
    EXPECT_EQ(written([&](std::FILE* f) {
                  incIndent(1);
                  EXPECT_EQ(vectorWriteAsciiAnimation(f, &vector), 1);
                  EXPECT_EQ(hvectorWriteAsciiAnimation(f, &hvector), 1);
                  EXPECT_EQ(vectorWriteAsciiAnimation(f, nullptr), 0);
                  EXPECT_EQ(hvectorWriteAsciiAnimation(f, nullptr), 0);
              }),
              "\n      1 -2.5 1e-07 \n      1 2 3 1.23457e+08 ");
    EXPECT_EQ(animIndentLength, 1);
}

TEST_F(UtilsTest, VectorReadersConsumeTheirNumbersOnly) {
    const Input in("1 2 3 4 5 6 7 a b c rest 8");
    Vector vector{};
    HVector hvector{};
    EXPECT_EQ(vectorReadAsciiAnimation(in, &vector), 1);
    EXPECT_EQ(vector.z, 3.0F);
    EXPECT_EQ(hvectorReadAsciiAnimation(in, &hvector), 1);
    EXPECT_EQ(hvector.w, 7.0F);
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
    const std::string text = scalar(curve.get());
    EXPECT_EQ(text.find("\n   CURVE_TYPE CAM_FOV \n"), 0U) << text;
    const struct {
        const char* name;
        std::string text;
        int readFirst, result;
        float value; ///< -1: unchanged
        const char* token;
    } cases[] = {
        {"a curve", text + "NEXT", 1, 1, -1.0F, "NEXT"},
        {"a number", "3 ROLL 7", 1, 1, 3.0F, "ROLL"},
        {"the number ends the file", "7", 1, 1, 7.0F, ""},
        {"nothing", " ", 1, 0, -1.0F, ""},
        {"the current token is the number", "6", 0, 1, 5.0F, "6"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        in_animToken(Input("5"));
        float value = -1.0F;
        Fcurve* read = nullptr;
        EXPECT_EQ(valueReadAsciiAnimation(Input(row.text), &value, &read, row.readFirst),
                  row.result);
        const Curve owned(read);
        EXPECT_EQ(fcurveValue(read, 5.0F), row.text.size() > 20 ? 41.5F : 0.0F);
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
    EXPECT_TRUE(single.starts_with("\n   CURVE_TYPE LIG_COL_R ")) << single;
    EXPECT_EQ(triple(curve.get(), curve.get()), single + single);

    const struct {
        const char* name;
        std::string text;
        int result;
        float x, z;
        std::array<float, 3> curves; ///< their values, 0 for none
        const char* token;
    } cases[] = {
        {"numbers", " 1 2 3 NEXT", 1, 1, 3, {}, "NEXT"},
        {"one number", "4", 1, 4, -1, {}, ""},
        {"nothing", " ", 0, -1, -1, {}, ""},
        {"curves", single + single + single + "NEXT", 1, -1, -1, {9, 9, 9}, "NEXT"},
        {"two of three are enough", single + single + "CURVE_TYPE", 1, -1, -1, {9, 9, 0}, ""},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        float x = -1.0F;
        float z = -1.0F;
        Fcurve* read[3] = {};
        EXPECT_EQ(value3ReadAsciiAnimation(Input(row.text), &x, nullptr, &z, &read[0], &read[1],
                                           &read[2]),
                  row.result);
        EXPECT_EQ(x, row.x);
        EXPECT_EQ(z, row.z);
        EXPECT_STREQ(animToken, row.token);
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_EQ(fcurveValue(read[i], 0.0F), row.curves[i]);
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
              }),
              "1.000|2.500|-3.000|12345.678|0.000|");
}

TEST_F(UtilsTest, WordReaderReadsAsScanf) {
    const Input in("  word\r\n\v{ -3.5e1} 12x +7 .5.. e5");
    text::Reader& words = text::Reader::on(in, text::kFileStyle);
    float real = 0.0F;
    std::int16_t whole = 0;
    EXPECT_TRUE(words.next());
    EXPECT_EQ(words.word(), "word") << "a carriage return is white space here";
    EXPECT_TRUE(words.next());
    EXPECT_EQ(words.word(), "{");
    EXPECT_EQ(animTokenLineNumber(), 2);
    EXPECT_TRUE(words.number(real));
    EXPECT_FALSE(words.number(real)) << "a brace stays";
    EXPECT_EQ(real, -35.0F);
    EXPECT_TRUE(words.next());
    EXPECT_EQ(words.word(), "}");
    EXPECT_TRUE(words.number(whole));
    EXPECT_EQ(whole, 12);
    EXPECT_TRUE(words.next());
    EXPECT_EQ(words.word(), "x");
    EXPECT_TRUE(words.number(whole));
    EXPECT_EQ(whole, 7);
    EXPECT_TRUE(words.number(real));
    EXPECT_EQ(real, 0.5F);
    EXPECT_FALSE(words.number(real)) << "an exponent alone is none";
    EXPECT_EQ(in.rest(), "e5");
}

TEST_F(UtilsTest, NumbersIgnoreTheLocale) {
    const support::CommaLocale comma;
    EXPECT_EQ(text::toFloat("2.5"), 2.5F);
    EXPECT_EQ(text::toFloat("2,5"), 2.0F);
    EXPECT_EQ(written([](std::FILE* f) {
                  text::putFloat(f, 2.5F);
                  text::putFixed(f, 2.5F);
              }),
              "2.5 2.500");
    const Input in("2.5");
    float real = 0.0F;
    EXPECT_TRUE(text::Reader::on(in, text::kFileStyle).number(real));
    EXPECT_EQ(real, 2.5F);
}

} // namespace
