// SPDX-License-Identifier: MIT
// tdr convert: metadata is copied, or its loss is reported.
#include "pictures/pngChunks.h"
#include "support/pictureFiles.h"
#include "tdr/commandTesting.h"

#include <algorithm>
#include <sys/mman.h>

namespace {

using namespace commandTesting;
using support::be32;
using support::bytes;

// --- Files, byte by byte -------------------------------------------------------------------------

using Chunk = std::pair<std::string, std::string>; ///< name and data
using Chunks = std::vector<Chunk>;

std::string encoded(const Chunks& chunks) {
    std::string all;
    for (const auto& [name, data] : chunks) {
        all += support::pngChunk(name, data);
    }
    return all;
}

const std::string kSignature = "\x89PNG\r\n\x1a\n";

/// One pixel: grey of 8 bits, or colour and alpha of 16.
std::string png(int bits, const Chunks& before, const Chunks& behind = {}) {
    const bool grey = bits == 8;
    const std::string pixels =
        grey ? bytes({0x78, 1, 1, 2, 0, 0xfd, 0xff, 0, 0x4d, 0, 0x4f, 0, 0x4e})
             : bytes({0x78, 1,    1,    9,    0,    0xf6, 0xff, 0,    0x12, 0x34,
                      0x56, 0x78, 0x9a, 0xbc, 0xff, 0xff, 0x0d, 0xfa, 0x04, 0x69});
    return kSignature +
           encoded({{"IHDR", be32(1) + be32(1) + bytes({bits, grey ? 0 : 6, 0, 0, 0})}}) +
           encoded(before) + encoded({{"IDAT", pixels}}) + encoded(behind) +
           encoded({{"IEND", ""}});
}

/// All chunks of a file except IHDR, pixels and IEND. Every checksum has to be right.
Chunks chunksOf(const std::string& file) {
    Chunks found;
    EXPECT_EQ(file.substr(0, 8), kSignature);
    std::size_t at = 8;
    while (at + 12 <= file.size()) {
        const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(file[at + i]); };
        const std::size_t size = static_cast<std::size_t>(byte(1)) << 16 | byte(2) << 8 | byte(3);
        const Chunk chunk{file.substr(at + 4, 4), file.substr(at + 8, size)};
        EXPECT_EQ(encoded({chunk}), file.substr(at, size + 12));
        if (chunk.first != "IHDR" && chunk.first != "IDAT" && chunk.first != "IEND") {
            found.push_back(chunk);
        }
        at += size + 12;
    }
    return found;
}

std::string pic(std::uint32_t ratio, int fields, const std::string& comment) {
    std::string file = support::rawPic(1, 1, 0xE0, "rgb");
    file.replace(96, 4, be32(ratio));
    file.replace(100, 2, support::be16(fields));
    return file.replace(8, 80, comment + std::string(80 - comment.size(), '\0'));
}

constexpr std::uint32_t kOne = 0x3F800000; // the bits of 1.0
const std::string kNone = "No comment...";

std::string comment(const std::string& text) {
    return std::string("Comment\0", 8) + text;
}

/// The header bytes of a file without its size: comment, ratio, fields.
std::string notesOf(const std::string& file) {
    return file.substr(8, 80) + file.substr(96, 6);
}

using CarryTest = CommandTest;

TEST_F(CarryTest, aPicturesHeadGoesToPngAndBack) {
    const std::string longest(80, 'c');
    const auto fraction = [](std::uint32_t under, std::uint32_t over) {
        return Chunks{{"pHYs", be32(under) + be32(over) + '\0'}};
    };
    const struct {
        const char* name;
        std::uint32_t ratio;
        std::string comment;
        Chunks chunks;
        std::uint32_t ratioBack;
    } cases[] = {
        {"nothing to carry", kOne, kNone, {}, kOne},
        {"1.2", 0x3F99999A, kNone, fraction(5, 6), 0x3F99999A},
        {"no short fraction", 0x3F99999B, kNone, {}, 0x3F99999B},
        {"1/8", 0x3E000000, kNone, fraction(8, 1), 0x3E000000},
        {"8", 0x41000000, kNone, fraction(1, 8), 0x41000000},
        {"never filled in", 0, kNone, {}, kOne},
        {"not a number", 0x7FC00000, kNone, {}, kOne},
        {"a comment", kOne, "take 2, \xe9", {{"tEXt", comment("take 2, \xe9")}}, kOne},
        {"a comment that fills its field", kOne, longest, {{"tEXt", comment(longest)}}, kOne},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto first = files().write("a.pic", pic(c.ratio, 3, c.comment));
        expectDone({"convert", "--force", first, in("a.png")});
        expectDone({"convert", "--force", in("a.png"), in("b.pic")});
        expectDone({"convert", "--force", first, in("c.pic")});
        if (!c.chunks.empty()) {
            EXPECT_EQ(chunksOf(contentOf(in("a.png"))), c.chunks);
        }
        EXPECT_EQ(notesOf(contentOf(in("b.pic"))), notesOf(pic(c.ratioBack, 3, c.comment)));
        EXPECT_EQ(notesOf(contentOf(in("c.pic"))), notesOf(contentOf(first)));
        EXPECT_EQ(run({"compare", first, in("b.pic")}).exit, 0);
    }
}

TEST_F(CarryTest, aPngKeepsWhatHoldsForItsCopy) {
    const Chunks kept = {{"gAMA", be32(45455)},
                         {"iCCP", std::string("p\0\0zipped", 9)},
                         {"pHYs", be32(3000) + be32(6000) + '\1'},
                         {"tEXt", comment("mine")},
                         {"prVt", "safe to copy"}};
    const Chunks behind = {{"zTXt", std::string("Title\0\0zipped", 13)}, {"tIME", "now and"}};
    Chunks both = kept;
    both.insert(both.end(), behind.begin(), behind.end());
    Chunks all = kept;
    all.insert(all.begin(), {{"bKGD", "black "}, {"prVT", "unsafe"}});
    const auto from = files().write("a.png", png(16, all, behind));

    expectEnd(0, {"convert", from, in("b.png")},
              "tdr: " + in("b.png") + ": not carried from " + from +
                  ": 16 bits a sample, background colour, chunk prVT\n");
    EXPECT_EQ(chunksOf(contentOf(in("b.png"))), both);

    expectEnd(0, {"convert", from, in("b.pic")},
              "tdr: " + in("b.pic") + ": not carried from " + from +
                  ": 16 bits a sample, background colour, chunk prVT, gamma, colour profile, "
                  "resolution, chunk prVt, text \"Title\", time of change\n");
    EXPECT_EQ(notesOf(contentOf(in("b.pic"))), notesOf(pic(0x40000000, 3, "mine"))); // 2.0
    EXPECT_TRUE(contains(run({"compare", from, in("b.png")}).out, "the upper 8 of the 16 bits"));
}

/// The chunks read from a file of these bytes.
std::optional<PngChunks> chunksRead(const std::string& file) {
    const base::UniqueFd fd(memfd_create("test", MFD_CLOEXEC));
    EXPECT_EQ(pwrite(fd.get(), file.data(), file.size(), 0), std::ssize(file));
    return readPngChunks(fd.get());
}

TEST(PngChunks, AreKeptWholeOrNotAtAllWhereverAFileIsDamaged) {
    const std::string whole = png(16, {{"tEXt", comment("a")}, {"gAMA", be32(9)}}, {{"tIME", "t"}});
    const auto all = chunksRead(whole)->kept;
    ASSERT_EQ(all.size(), 3U);
    const auto isOne = [&](const PngChunk& chunk) {
        return std::ranges::any_of(all, [&](const PngChunk& one) {
            return one.name == chunk.name && one.data == chunk.data;
        });
    };
    for (std::size_t size = 8; size < whole.size(); ++size) {
        const auto cut = chunksRead(whole.substr(0, size));
        ASSERT_TRUE(cut && std::ranges::all_of(cut->kept, isOne)) << size;
    }
    for (std::size_t bit = 64; bit < 8 * whole.size(); ++bit) {
        std::string flipped = whole;
        flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ 1 << bit % 8);
        const auto read = chunksRead(flipped);
        ASSERT_TRUE(read && std::ranges::all_of(read->kept, isOne)) << bit;
    }
}

TEST_F(CarryTest, whatHasNoPlaceIsTold) {
    std::string wrongSum = png(8, {{"tEXt", comment("x")}});
    wrongSum[33 + 8 + 9 + 3] ^= 1;
    const std::string large(std::size_t{3} << 20, 'x');
    const struct {
        const char* name;
        std::string from;
        std::string content;
        std::string to;
        std::string told;
    } cases[] = {
        {"fields", "a.pic", pic(kOne, 1, kNone), "b.png", "field code 1"},
        {"a long comment", "a.png", png(8, {{"tEXt", comment(std::string(81, 'c'))}}), "b.pic",
         "comment behind its first 80 bytes"},
        {"a second comment", "a.png", png(8, {{"tEXt", comment("1")}, {"tEXt", comment("2")}}),
         "b.pic", "text \"Comment\""},
        {"a grey picture's profile", "a.png", png(8, {{"iCCP", "p"}}), "b.png", "colour profile"},
        {"more text than is kept", "a.png", png(8, {{"tEXt", large}}), "b.png", "text"},
        {"a damaged chunk", "a.png", wrongSum, "b.png", "text"},
        {"mattes", "m.tag", support::tag(1, 1, 3, {0, 0x2000, 0}), "b.png",
         "mattes 2 to 3 (see --channel)"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto from = files().write(c.from, c.content);
        expectEnd(0, {"convert", "--force", from, in(c.to)},
                  "tdr: " + in(c.to) + ": not carried from " + from + ": " + c.told + "\n");
    }
}

TEST_F(CarryTest, aCommentThatDoesNotFitTheDiskLeavesTheOldFile) {
    const auto old = files().write("old.png", "old");
    const auto from = files().write("a.png", png(8, {{"tEXt", std::string(100'000, 'x')}}));
    expectFailed({"convert", "--force", from, old}, "tdr: " + old + ": File too large\n", 1,
                 {.largestFile = 50'000, .ignoreSizeSignal = true});
    EXPECT_EQ(contentOf(old), "old");
    EXPECT_EQ(namesIn(files().path()), (std::set<std::string>{"a.png", "old.png"}));
}

TEST_F(CarryTest, oneOfSeveralMattesIsChosen) {
    const auto tag = files().write("m.tag", support::tag(2, 1, 3, {0x2000, 0x1000, 0x3000}));
    const auto white = [](bool left, bool right) {
        return support::rawPic(2, 1, 0xF0,
                               std::string(3, left ? '\xff' : '\0') + '\xff' +
                                   std::string(3, right ? '\xff' : '\0') + '\xff');
    };
    const std::string wanted[] = {white(true, false), white(false, true), white(true, true)};
    for (int channel = 1; channel <= 3; ++channel) {
        expectDone({"convert", "--force", "--channel", std::to_string(channel), tag, in("o.pic")});
        const auto expected = files().write("e.pic", wanted[channel - 1]);
        EXPECT_EQ(run({"compare", expected, in("o.pic")}).exit, 0) << channel;
    }
    expectFailed({"convert", "--force", "--channel", "4", tag, in("o.pic")},
                 "tdr: " + tag + ": has no --channel 4, the last one is 3\n");
    EXPECT_EQ(run({"convert", "--channel", "1", in("o.pic"), in("p.pic")}).exit, 1);
    EXPECT_EQ(run({"convert", "--channel", "0", tag, in("o.pic")}).exit, 2);
}

TEST_F(CarryTest, coloursAreMultipliedByTheirAlphaAndDivided) {
    const struct {
        const char* option;
        std::string pixel; ///< red, green, blue, alpha
        std::string result;
    } cases[] = {
        {"--premultiply", bytes({255, 100, 1, 128}), bytes({128, 50, 1, 128})}, // 128, 50.2, 0.502
        {"--premultiply", bytes({255, 100, 1, 0}), bytes({0, 0, 0, 0})},
        {"--premultiply", bytes({255, 100, 1, 255}), bytes({255, 100, 1, 255})},
        {"--unpremultiply", bytes({128, 50, 1, 128}), bytes({255, 100, 2, 128})}, // 255, 99.6, 1.99
        {"--unpremultiply", bytes({200, 50, 1, 100}), bytes({255, 128, 3, 100})}, // 510, 127.5, 2.6
        {"--unpremultiply", bytes({9, 8, 7, 0}), bytes({9, 8, 7, 0})},
    };
    const auto one = [&](const std::string& name, const std::string& rgba) {
        return files().write(name, support::rawPic(1, 1, 0xF0, rgba));
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.option) + testing::PrintToString(c.pixel));
        expectDone({"convert", "--force", c.option, one("a.pic", c.pixel), in("b.png")});
        expectDone({"compare", one("c.pic", c.result), in("b.png")});
    }
    EXPECT_EQ(run({"convert", "--premultiply", "--unpremultiply", in("a.pic"), in("b.png")}).exit,
              2);
}

} // namespace
