// SPDX-License-Identifier: MIT
#include "mattes.h"

#include "pictures.h"
#include "tinyTag.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace bench {

namespace {

using OwnedTag = std::unique_ptr<Tag, TagDisposer>;
using Row = std::vector<std::uint8_t>;

constexpr int kChannels = 3;

int side() {
    return small() ? 128 : 8192;
}

std::size_t rowBytes() {
    return static_cast<std::size_t>(side()) / 8;
}

// --- Kinds: each fills a row that is zero --------------------------------------------------------

void fillNone(Row&, int) {}

void fillAll(Row& row, int) {
    row.assign(row.size(), 0xFF);
}

/// Discs of several sizes; where two overlap the matte is empty again.
void fillDiscs(Row& row, int y) {
    const double unit = side();
    for (int i = 0; i < 9; ++i) {
        const double radius = unit * (0.05 + 0.03 * (i % 4));
        const double off = y - unit * (0.5 + 0.4 * std::sin(i * 2.1));
        if (std::abs(off) >= radius) {
            continue;
        }
        const double half = std::sqrt(radius * radius - off * off);
        const double centre = unit * (0.1 + 0.1 * i);
        const auto first = static_cast<int>(std::max(centre - half, 0.0));
        const auto last = static_cast<int>(std::min(centre + half, unit));
        for (int x = first; x < last; ++x) {
            row[static_cast<std::size_t>(x / 8)] ^= static_cast<std::uint8_t>(0x80 >> x % 8);
        }
    }
}

/// A gradient as dots.
void fillDots(Row& row, int y) {
    for (std::size_t i = 0; i < row.size(); ++i) {
        const std::size_t grey = 8 * i / row.size();
        const auto bits = static_cast<unsigned>(0xFF00U >> grey);
        row[i] = static_cast<std::uint8_t>(bits >> (y % 4 * 2) | bits << (8 - y % 4 * 2));
    }
}

void fillNoise(Row& row, int) {
    static std::mt19937 random(20260101); // the same noise every time
    for (std::uint8_t& byte : row) {
        byte = static_cast<std::uint8_t>(random());
    }
}

constexpr struct {
    const char* name;
    void (*fill)(Row& row, int y);
} kKinds[] = {{"empty", fillNone},
              {"full", fillAll},
              {"discs", fillDiscs},
              {"dots", fillDots},
              {"noise", fillNoise}};

// --- Contenders ----------------------------------------------------------------------------------

/// A matte, its bits and its file, which is removed with the object.
struct Matte {
    OwnedTag tag{tagAllocate()};
    Row bits, copy;
    std::string file;

    Matte(const char* kind, void (*fill)(Row&, int))
        : file(fs::temp_directory_path() / ("tdr-bench-" + std::to_string(getpid()) + kind)) {
        tag->width = tag->height = static_cast<std::int16_t>(side());
        tag->channelCount = kChannels;
        tag->fields = 3;
        Row row;
        for (int y = 0; y < side(); ++y) {
            for (int channel = 0; channel < kChannels; ++channel) {
                row.assign(rowBytes(), 0);
                fill(row, y);
                std::memcpy(tagTakeRow(tag.get(), channel, y), row.data(), row.size());
                bits.insert(bits.end(), row.begin(), row.end());
            }
        }
        copy.assign(bits.size(), 1);
        file += ".tag";
    }
    ~Matte() { fs::remove(file); }
    Matte(const Matte&) = delete;
    Matte& operator=(const Matte&) = delete;

    void write() const {
        if (tagWriteFile(file.c_str(), tag.get()) != 1) {
            throw std::runtime_error("cannot write " + file);
        }
    }

    /// Reads the file; true if it holds the matte.
    [[nodiscard]] bool read(bool compared) const {
        const OwnedTag again(tagReadFile(file.c_str()));
        bool same = again != nullptr;
        for (int y = 0; same && compared && y < side(); ++y) {
            for (int channel = 0; channel < kChannels; ++channel) {
                same = same && std::memcmp(tagRow(again.get(), channel, y),
                                           tagRow(tag.get(), channel, y), rowBytes()) == 0;
            }
        }
        return same;
    }

    void copyBits() {
        std::memcpy(copy.data(), bits.data(), bits.size());
        benchmark::DoNotOptimize(copy.data());
        benchmark::ClobberMemory();
    }
};

template <typename Work>
void add(const std::string& name, const std::shared_ptr<Matte>& matte, Work work) {
    benchmark::RegisterBenchmark(name.c_str(), [matte, work](benchmark::State& state) {
        for ([[maybe_unused]] auto _ : state) {
            work(*matte);
        }
    })->Unit(benchmark::kMillisecond);
}

} // namespace

void addMattes() {
    for (const auto& [kind, fill] : kKinds) {
        const auto matte = std::make_shared<Matte>(kind, fill);
        matte->write();
        if (!matte->read(true)) {
            throw std::runtime_error("a matte is not kept");
        }
        const std::string name = kind;
        add("TAG read " + name + "/memcpy", matte, [](Matte& m) { m.copyBits(); });
        add("TAG read " + name + "/ours", matte,
            [](Matte& m) { benchmark::DoNotOptimize(m.read(false)); });
        add("TAG write " + name + "/memcpy", matte, [](Matte& m) { m.copyBits(); });
        add("TAG write " + name + "/ours", matte, [](Matte& m) { m.write(); });
    }
}

} // namespace bench
