// SPDX-License-Identifier: MIT
// TAG mattes: packed bits to the host, and the rows that are written.
#include "driverUnderTest.h"
#include "matteBits.h"

namespace {

TEST_F(SoftimageTest, MatteBitsArePackedFromBitZeroUpwards) {
    // Literals keep 14 pixels from bit 13 down.
    const std::vector<int> runs = {kOnes | 20, kZeros | 20, kOnes | 14, 0};
    const struct {
        const char* name;
        int width, height, channels;
        std::vector<int> words;
        std::vector<const char*> lines; // from the bottom, read into a block of 80
    } cases[] = {
        // 1100000001 on top, 0000000011 below.
        {"two rows", 10, 2, 1, {0b11000000010000, 0b00000000110000}, {"80 83", "83 82"}},
        // 101, 010, 111; so pixels are (1,0,1) (0,1,1) (1,0,1): bits from 0 up 101 011 10 | 1.
        {"channels in a pixel", 3, 1, 3, {0b101 << 11, 0b010 << 11, 0b111 << 11}, {"F5 81"}},
        {"runs", 20, 3, 1, runs, {"FF BF 80", "80 80 80", "FF FF 8F"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ASSERT_EQ(filter.read(
                      folder.write("m.tag", support::tag(c.width, c.height, c.channels, c.words))),
                  0);
        EXPECT_EQ(filter.bounds[2], c.width);
        EXPECT_EQ(filter.currentFormat, 1);
        for (std::size_t y = 0; y < c.lines.size(); ++y) {
            EXPECT_EQ(filter.line(static_cast<long>(y), '\x80'), bytes(c.lines[y])) << y;
            EXPECT_EQ(tagRow(filter.tag.get(), 0, static_cast<int>(y)), nullptr) << "row kept";
        }
        std::string small(filter.lineBytes() - 1, '\0');
        EXPECT_EQ(filter.get(small, 0), -1);
    }
}

TEST_F(SoftimageTest, AWrittenMatteHoldsMirroredRowsInItsLowerHalf) {
    ASSERT_EQ(filter.write(folder / "m.tag", 20, 4, 1), 0);
    const bool sent[] = {true, false, true, true}; // from the top
    for (int k = 0; k < 4; ++k) {
        // Only the lowest bit of the first byte counts.
        std::string line(20, '\0');
        line[0] = sent[k] ? '\x01' : '\xFE';
        line[1] = '\xFF';
        ASSERT_EQ(filter.put(line, 3 - k), 0);
        for (int row = 0; row < 4; ++row) {
            EXPECT_EQ(tagRow(filter.tag.get(), 0, row), nullptr) << "rows cost memory: " << row;
        }
    }
    ASSERT_EQ(filter.disconnectFromFile(), 1);
    // Line k fills row 3 - k, then row k is written: rows 0 and 1 are still empty.
    EXPECT_EQ(support::contentOf(folder / "m.tag"),
              support::tag(20, 4, 1, {kZeros | 20, kZeros | 20, kZeros | 20, kOnes | 20}));
}

TEST_F(SoftimageTest, AMatteWrittenAtOnceHasTheLastMattesChannels) {
    ASSERT_EQ(filter.read(folder.write("three.tag", support::tag(2, 1, 3))), 0);
    filter.disconnectFromFile();
    ASSERT_EQ(filter.write(folder / "m.tag", 20, 2, 1), 0);
    EXPECT_EQ(filter.putAll(std::string(15, '\x01')), -1);
    ASSERT_EQ(filter.putAll(std::string(16, '\x01')), 0) << "the packed size is enough";
    ASSERT_EQ(filter.disconnectFromFile(), 1);
    // Row 1 first: it fills row 0 and writes row 1, still empty; row 0 fills row 1, writes row 0.
    EXPECT_EQ(support::contentOf(folder / "m.tag"),
              support::tag(20, 2, 3,
                           {kZeros | 20, kZeros | 20, kZeros | 20, //
                            kOnes | 20, kOnes | 20, kOnes | 20}));
}

TEST(MatteBits, PackingAgreesWithItsDefinitionAtEveryWidth) {
    for (int channels : {1, 2, 3, 8}) {
        for (int w = 1; w <= 40; ++w) {
            std::vector<std::uint8_t> row(40, 0xFF); // bits past the width must be ignored
            for (int x = 0; x < w; x += 3) {
                row[static_cast<std::size_t>(x / 8)] ^= static_cast<std::uint8_t>(0x80 >> x % 8);
            }
            const std::size_t size = softimage::packedMatteBytes(w, channels);
            std::vector<std::uint8_t> packed(size + 1, 0);
            std::vector<std::uint8_t> expected(size + 1, 0);
            softimage::packMatteRow(row.data(), w, channels - 1, channels, packed.data());
            for (int x = 0; x < w; ++x) {
                const int bit = x * channels + channels - 1;
                expected[static_cast<std::size_t>(bit / 8)] |=
                    static_cast<std::uint8_t>((x % 3 == 0 ? 0 : 1) << bit % 8);
            }
            EXPECT_EQ(packed, expected) << w << " x " << channels;
        }
    }
}

} // namespace
