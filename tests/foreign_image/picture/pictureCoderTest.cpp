// SPDX-License-Identifier: MIT
// The scanline coders, in every form that this machine can run: the plain form against bytes
// written by hand, the others against the plain form.
#include "foreign_image/testBytes.h"
#include "picture/coders/tinyPictureCoders.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>
#include <sys/mman.h>
#include <unistd.h>

namespace {

using support::kStep;

using Bytes = std::vector<std::uint8_t>;
using Lines = std::vector<Bytes>; ///< one line per channel, in pixel order

enum : std::size_t { kRaw, kPure, kMixed };

constexpr std::uint8_t kGuard = 0xA7;
constexpr std::ptrdiff_t kGuardSize = 64;

/// The end of a region of memory, at a page whose access ends the program.
std::uint8_t* fence(std::size_t region) {
    constexpr std::size_t kRegions = 16;
    constexpr std::size_t kSize = std::size_t{1} << 17;
    const auto page = static_cast<std::size_t>(getpagesize());
    static std::uint8_t* const memory = [page] {
        auto* const all = static_cast<std::uint8_t*>(mmap(
            nullptr, kRegions * kSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        for (std::size_t end = kSize; end <= kRegions * kSize; end += kSize) {
            mprotect(all + end - page, page, PROT_NONE);
        }
        return all;
    }();
    return memory + (region + 1) * kSize - page;
}

/// Lines in separate regions, each directly before the fence and behind guard bytes.
class PlacedLines {
  public:
    PlacedLines(std::size_t channels, std::size_t width) : width_(width) {
        while (pointers_.size() < channels) {
            std::uint8_t* const end = fence(regionsInUse++);
            pointers_.push_back(end - width);
            std::fill(pointers_.back() - kGuardSize, end, kGuard);
        }
    }
    explicit PlacedLines(const Lines& lines) : PlacedLines(lines.size(), lines[0].size()) {
        for (std::size_t c = 0; c < lines.size(); ++c) {
            std::copy(lines[c].begin(), lines[c].end(), pointers_[c]);
        }
    }
    ~PlacedLines() { regionsInUse -= pointers_.size(); }
    PlacedLines(const PlacedLines&) = delete;
    PlacedLines& operator=(const PlacedLines&) = delete;

    [[nodiscard]] std::uint8_t* const* pointers() const { return pointers_.data(); }

    [[nodiscard]] Lines lines() const {
        Lines lines;
        for (const std::uint8_t* line : pointers_) {
            lines.emplace_back(line, line + width_);
        }
        return lines;
    }
    [[nodiscard]] bool guardsHold() const {
        return std::ranges::all_of(pointers_, [](const std::uint8_t* line) {
            return std::count(line - kGuardSize, line, kGuard) == kGuardSize;
        });
    }

  private:
    static inline std::size_t regionsInUse = 0; ///< the last lines made are the first to go
    std::size_t width_;
    std::vector<std::uint8_t*> pointers_;
};

Bytes encode(const CoderTable& table, std::size_t encoding, const Lines& lines) {
    const PlacedLines placed(lines);
    const std::size_t width = lines[0].size();
    Bytes out(encodedRoom(width, lines.size()));
    // All ones: the coders have to clear the bits that they use.
    std::vector<std::uint64_t> pairs(pairWords(width), ~std::uint64_t{0});
    const std::uint8_t* end = table.write[encoding][lines.size() - 1](
        static_cast<int>(width), placed.pointers(), out.data(), pairs.data());
    out.resize(static_cast<std::size_t>(end - out.data()));
    return out;
}

/// A window over bytes in memory.
class MemoryWindow {
  public:
    MemoryWindow(const Bytes& file, bool exact, std::size_t capacity = kMinWindow)
        : bytes_(capacity + kWindowSlack),
          stream_(testbytes::streamOf(std::string(file.begin(), file.end()))) {
        window.stream = stream_.get();
        window.bytes = bytes_.data();
        window.capacity = capacity;
        window.at = window.end = bytes_.data();
        window.exact = exact;
    }

    StreamWindow window{};

  private:
    Bytes bytes_;
    base::UniqueFile stream_;
};

/// Calls `check` for every form and number of channels.
void forEachForm(const std::function<void(const CoderTable&, std::size_t)>& check) {
    for (const CoderTable* table : coderTables()) {
        for (std::size_t channels = 1; channels <= 4; ++channels) {
            SCOPED_TRACE(std::string(table->name) + ", channels " + std::to_string(channels));
            check(*table, channels);
            if (::testing::Test::HasFailure()) {
                return;
            }
        }
    }
}

/// Pixels of one channel from a picture of letters: 'a' is 10, 'b' is 11 ...; in a further channel
/// each is 100 more, so that bytes cannot be mistaken for each other.
Lines lettered(const std::string& letters, std::size_t channels) {
    Lines lines(channels);
    for (std::size_t c = 0; c < channels; ++c) {
        for (const char letter : letters) {
            lines[c].push_back(
                static_cast<std::uint8_t>(letter - 'a' + 10 + 100 * static_cast<int>(c)));
        }
    }
    return lines;
}

std::string times(std::size_t count, char letter) {
    return std::string(count, letter);
}

/// `count` letters, each different from its neighbours.
std::string different(std::size_t count) {
    std::string letters;
    for (std::size_t i = 0; i < count; ++i) {
        letters.push_back("abc"[i % 3]);
    }
    return letters;
}

/// The bytes of letters of one channel, behind a control byte.
Bytes literal(std::uint8_t control, const std::string& letters) {
    Bytes bytes = lettered(letters, 1)[0];
    bytes.insert(bytes.begin(), control);
    return bytes;
}

Bytes operator+(Bytes first, const Bytes& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

struct Golden {
    std::size_t encoding;
    std::string letters;
    std::size_t channels;
    Bytes bytes;
};

const Golden kGoldenLines[] = {
    {kRaw, "ab", 3, {10, 110, 210, 11, 111, 211}},
    {kMixed, "aaaa", 3, {0x83, 10, 110, 210}},
    {kMixed, "a", 3, {0x00, 10, 110, 210}},
    {kMixed, "aab", 1, {0x81, 10, 0x00, 11}},
    {kMixed, "abb", 1, {0x00, 10, 0x81, 11}},
    {kMixed, "ab", 2, {0x01, 10, 110, 11, 111}},
    {kMixed, times(127, 'a'), 1, {0xFE, 10}},
    {kMixed, times(128, 'a'), 1, {0x80, 0x00, 0x80, 10}},
    {kMixed, times(129, 'a'), 1, {0x80, 0x00, 0x81, 10}},
    {kMixed, times(200, 'a'), 1, {0x80, 0x00, 0xC8, 10}},
    {kMixed, times(256, 'a'), 1, {0x80, 0x01, 0x00, 10}},
    {kMixed, times(65535, 'a'), 1, {0x80, 0xFF, 0xFF, 10}},
    {kMixed, times(65536, 'a'), 1, {0x80, 0xFF, 0xFF, 10, 0x00, 10}},
    {kMixed, times(65537, 'a'), 1, {0x80, 0xFF, 0xFF, 10, 0x81, 10}},
    {kMixed, different(127), 1, literal(0x7E, different(127))},
    {kMixed, different(128), 1, literal(0x7F, different(128))},
    {kMixed, different(130), 1, literal(0x7F, different(128)) + literal(1, "ca")},
    // Mixed: a run that begins with the 127th pixel.
    {kMixed, different(126) + "dd", 1, literal(0x7D, different(126)) + Bytes{0x81, 13}},
    // Mixed: a run that begins with the 128th pixel.
    {kMixed, different(127) + "ddd", 1, literal(0x7F, different(127) + "d") + Bytes{0x81, 13}},
    // Mixed: a run that begins with the 129th pixel.
    {kMixed, different(128) + "dd", 1, literal(0x7F, different(128)) + Bytes{0x81, 13}},
    {kPure, "a", 1, {1, 10}},
    // Pure: A A B B loses the first B.
    {kPure, "aabb", 1, {2, 10, 1, 11}},
    // Pure: A B loses B.
    {kPure, "ab", 2, {1, 10, 110}},
    {kPure, times(254, 'a'), 1, {254, 10}},
    {kPure, times(255, 'a'), 1, {255, 10}},
    {kPure, times(256, 'a'), 1, {255, 10, 1, 10}},
    // Pure: 255 and another, which is kept.
    {kPure, times(255, 'a') + "b", 1, {255, 10, 1, 11}},
    // Pure: 254 and another, which is lost.
    {kPure, times(254, 'a') + "b", 1, {254, 10}},

};

TEST(PictureCoders, WriteTheBytesOfTheFormat) {
    for (const Golden& golden : kGoldenLines) {
        SCOPED_TRACE(golden.letters);
        const Lines lines = lettered(golden.letters, golden.channels);
        for (const CoderTable* table : coderTables()) {
            EXPECT_EQ(encode(*table, golden.encoding, lines), golden.bytes) << table->name;
        }
    }
}

struct GoldenRead {
    const char* name;
    std::size_t encoding;
    bool whole;
    std::size_t width;
    Bytes file;
    Bytes line;
    std::size_t after; ///< position of the reader afterwards
};

const GoldenRead kGoldenReads[] = {
    {"short repeat of 128", kMixed, true, 128, {255, 9, 77}, Bytes(128, 9), 2},
    {"long repeat of 3", kMixed, true, 3, {128, 0, 3, 9, 77}, {9, 9, 9}, 4},
    {"long repeat of 0", kMixed, true, 1, {128, 0, 0, 9, 0, 7, 77}, {7}, 6},
    {"literal", kMixed, true, 3, {2, 5, 6, 7, 77}, {5, 6, 7}, 4},
    {"literal one too long", kMixed, false, 3, {0, 4, 2, 5, 6, 7, 77, 78}, {4, 0, 0}, 8},
    {"repeat one too long", kMixed, false, 3, {0, 4, 130, 5, 77, 78}, {4, 0, 0}, 6},
    {"long repeat too long", kMixed, false, 3, {128, 0, 4, 5, 77, 78}, {0, 0, 0}, 6},
    {"literal cut short", kMixed, false, 4, {3, 5, 6}, {5, 6, 0, 0}, 3},
    {"long count cut short", kMixed, false, 2, {0, 5, 128, 0}, {5, 0}, 4},
    {"repeat without its pixel", kMixed, false, 2, {129}, {0, 0}, 1},
    {"nothing at all", kMixed, false, 2, {}, {0, 0}, 0},
    {"pure run", kPure, true, 3, {2, 5, 1, 6, 77}, {5, 5, 6}, 4},
    {"pure run of 0", kPure, true, 2, {0, 5, 2, 6, 77}, {6, 6}, 4},
    {"pure run too long", kPure, true, 3, {2, 5, 200, 6, 77}, {5, 5, 6}, 4},
    {"pure run without its pixel", kPure, false, 2, {1, 5, 1}, {5, 0}, 3},
    {"raw", kRaw, true, 2, {5, 6, 77}, {5, 6}, 2},
    {"raw cut short", kRaw, false, 3, {5, 6}, {5, 6, 0}, 2},
};

TEST(PictureCoders, ReadTheBytesOfTheFormat) {
    for (const GoldenRead& golden : kGoldenReads) {
        for (const CoderTable* table : coderTables()) {
            for (const bool exact : {true, false}) {
                SCOPED_TRACE(std::string(golden.name) + ", " + table->name);
                MemoryWindow memory(golden.file, exact);
                const PlacedLines placed(1, golden.width);
                EXPECT_EQ(table->read[golden.encoding][0](
                              &memory.window, static_cast<int>(golden.width), placed.pointers()),
                          golden.whole);
                EXPECT_EQ(placed.lines()[0], golden.line);
                EXPECT_EQ(windowPosition(&memory.window), static_cast<std::int64_t>(golden.after));
                EXPECT_TRUE(placed.guardsHold());
                if (exact && golden.whole) {
                    EXPECT_EQ(std::ftell(memory.window.stream), static_cast<long>(golden.after));
                }
            }
        }
    }
}

/// Lines with structure: in `change` of 256 cases a pixel differs from the one before, and only in
/// one channel, so that a comparison that omits a channel fails.
Lines structured(std::mt19937* random, std::size_t channels, std::size_t width, unsigned change) {
    Lines lines(channels, Bytes(width));
    for (std::size_t x = 0; x < width; ++x) {
        for (std::size_t c = 0; c < channels; ++c) {
            lines[c][x] = x > 0 ? lines[c][x - 1] : static_cast<std::uint8_t>((*random)());
        }
        if (((*random)() & 255U) < change) {
            lines[(*random)() % channels][x] = static_cast<std::uint8_t>((*random)());
        }
    }
    return lines;
}

constexpr unsigned kChanges[] = {0, 3, 60, 200, 256};

const CoderTable& plainForm() {
    return *coderTables().front();
}

/// Decodes line after line of `file`, the last one past its end, and compares each with the
/// oracle's.
void compareDecoding(const CoderTable& table, std::size_t encoding, std::size_t channels,
                     std::size_t width, const Bytes& file, bool exact, Lines* first = nullptr) {
    MemoryWindow plain(file, true);
    MemoryWindow memory(file, exact);
    for (std::size_t line = 0; line < 5; ++line) {
        SCOPED_TRACE(line);
        const PlacedLines want(channels, width);
        const PlacedLines placed(channels, width);
        const auto read = [&](const CoderTable& form, StreamWindow* from, const PlacedLines& to) {
            return form.read[encoding][channels - 1](from, static_cast<int>(width), to.pointers());
        };
        ASSERT_EQ(read(table, &memory.window, placed), read(plainForm(), &plain.window, want));
        ASSERT_EQ(placed.lines(), want.lines());
        ASSERT_TRUE(placed.guardsHold());
        ASSERT_EQ(windowPosition(&memory.window), windowPosition(&plain.window));
        if (line == 0 && first != nullptr) {
            *first = placed.lines();
        }
    }
}

TEST(PictureCoders, DoTheSameAtEveryWidthAndAlignment) {
    forEachForm([](const CoderTable& table, std::size_t channels) {
        std::mt19937 random(static_cast<unsigned>(channels));
        for (std::size_t width = 1; width <= 300; width += kStep) {
            for (std::size_t encoding = 0; encoding < kEncodings; ++encoding) {
                SCOPED_TRACE("width " + std::to_string(width) + ", encoding " +
                             std::to_string(encoding));
                Bytes file;
                Lines first;
                for (std::size_t line = 0; line < 4; ++line) {
                    const Lines lines = structured(&random, channels, width, kChanges[width % 5]);
                    const Bytes bytes = encode(plainForm(), encoding, lines);
                    ASSERT_EQ(encode(table, encoding, lines), bytes);
                    file = file + bytes;
                    first = line == 0 ? lines : first;
                }
                Lines again;
                ASSERT_NO_FATAL_FAILURE(compareDecoding(table, encoding, channels, width, file,
                                                        width % 2 == 0, &again));
                ASSERT_TRUE(encoding == kPure || again == first); // pure runs lose pixels
            }
        }
    });
}

TEST(PictureCoders, ReadTheSameFromRubbish) {
    forEachForm([](const CoderTable& table, std::size_t channels) {
        std::mt19937 random(static_cast<unsigned>(200 + channels));
        for (unsigned round = 0; round < 2000 / kStep; ++round) {
            Bytes file(random() % 600);
            // Mostly controls of short packets, so that lines have many packets.
            for (std::uint8_t& byte : file) {
                byte = static_cast<std::uint8_t>(
                    random() % 4 == 0 ? random() : (random() & 128U) | random() % 5);
            }
            SCOPED_TRACE("round " + std::to_string(round));
            ASSERT_NO_FATAL_FAILURE(compareDecoding(table, round % kEncodings, channels,
                                                    1 + random() % 260, file, round % 2 == 0));
        }
    });
}

TEST(PictureCoders, AWindowFillsAsFarAsItIsAskedTo) {
    constexpr std::size_t kCapacity = 5000; // not a multiple of a stream's read size
    MemoryWindow memory(Bytes(20000, 'x'), false, kCapacity);
    EXPECT_EQ(windowFill(&memory.window, kCapacity), kCapacity);
    EXPECT_FALSE(memory.window.ended);
}

TEST(PictureCoders, TheLastFormIsUsedUnlessOneIsChosen) {
    EXPECT_STREQ(plainForm().name, "portable");
    codersUse(&plainForm());
    EXPECT_EQ(codersInUse(), &plainForm());
    codersUse(nullptr);
    EXPECT_EQ(codersInUse(), coderTables().back());
}

} // namespace
