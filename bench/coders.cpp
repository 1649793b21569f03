// SPDX-License-Identifier: MIT
// The scanline coders and the pixel orders against similar libraries and against memcpy. Benchmarks
// are called "row/contender"; bench/report.py joins them.
//
// Files are in the page cache. A picture and its upside-down copy take turns, so that branch
// predictors cannot learn one picture.
#include "mattes.h"
#include "picture/coders/tinyPictureCoders.h"
#include "pixelOrder.h"
#include "sample.h"
#include "tinyPicture.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <exception>
#include <iostream>
#include <string>

using namespace bench;

namespace {

// --- Ours ----------------------------------------------------------------------------------------

/// The packets that the driver writes: red, green and blue together, alpha separately.
const ChannelPacket kAlphaPacket = {8, kEncodingMixed, kMaskAlpha, nullptr};
ChannelPacket alphaPacket = kAlphaPacket;
const ChannelPacket kChain = {8, kEncodingMixed, kMaskRgb, &alphaPacket};

Picture headerOf(const Sample& sample) {
    Picture record{};
    record.width = static_cast<std::int16_t>(sample.picture.width);
    record.height = static_cast<std::int16_t>(sample.picture.height);
    return record;
}

void setLines(Picture& record, Planes& planes) {
    for (std::size_t c = 0; c < planes.size(); ++c) {
        record.linePointers[c] = planes[c].data();
    }
}

void encodeOurs(Sample& sample) {
    const Stream stream = sample.pic.open("w");
    std::setvbuf(stream.get(), nullptr, _IONBF, 0);
    const std::unique_ptr<PictureWriter, PictureWriterDisposer> writer(
        pictureWriterAllocate(stream.get()));
    pictureWriterCollect(writer.get(), std::size_t{1} << 20); // as the driver does
    Picture record = headerOf(sample);
    setLines(record, sample.picture.planes);
    for (int row = 0; row < sample.picture.height; ++row) {
        pictureWriterScanline(writer.get(), &record, &kChain);
    }
    static_cast<void>(pictureWriterFlush(writer.get()));
}

/// The same bytes in one call.
void copyEncoded(Sample& sample) {
    const Stream from = sample.pic.open("r");
    std::vector<char> bytes(sample.picture.planeBytes() * 5);
    bytes.resize(std::fread(bytes.data(), 1, bytes.size(), from.get()));
    const Stream to = sample.copy.open("w");
    std::setvbuf(to.get(), nullptr, _IONBF, 0);
    std::fwrite(bytes.data(), 1, bytes.size(), to.get());
}

template <typename EachRow>
void decodeRows(Sample& sample, const ScratchFile& file, EachRow eachRow) {
    const Stream stream = file.open("r");
    const std::unique_ptr<PictureReader, PictureReaderDisposer> reader(
        pictureReaderAllocate(stream.get()));
    Picture record = headerOf(sample);
    for (int row = 0; row < sample.picture.height; ++row) {
        setLines(record, sample.out);
        pictureReaderScanline(reader.get(), &record, &kChain);
        eachRow(row);
    }
}

void decodeOurs(Sample& sample) {
    decodeRows(sample, sample.pic, [](int) {});
}

void decodeCopy(Sample& sample) {
    decodeRows(sample, sample.copy, [](int) {});
}

void decodePortable(Sample& sample) {
    codersUse(coderTables().front());
    decodeOurs(sample);
    codersUse(nullptr);
}

// --- Limits and pixel orders ---------------------------------------------------------------------

void copyPlanes(Sample& sample) {
    for (std::size_t c = 0; c < 4; ++c) {
        std::memcpy(sample.out[c].data(), sample.picture.planes[c].data(),
                    sample.picture.planeBytes());
        benchmark::DoNotOptimize(sample.out[c].data());
    }
}

void copyPixels(Sample& sample) {
    static std::vector<std::uint8_t> to;
    to.resize(sample.pixels.size());
    std::memcpy(to.data(), sample.pixels.data(), to.size());
    benchmark::DoNotOptimize(to.data());
}

/// Converts as many lines as the picture has between one line of channels and one host line, as the
/// driver does for line requests.
template <typename Move>
void eachLine(Sample& sample, Move move) {
    const softimage::ChannelLines lines = {sample.out[kAlpha].data(), sample.out[kBlue].data(),
                                           sample.out[kGreen].data(), sample.out[kRed].data()};
    for (std::uint32_t row = 0; row < sample.height(); ++row) {
        move(lines, sample.pixels.data(), sample.width());
        benchmark::ClobberMemory();
    }
}

// --- Registration --------------------------------------------------------------------------------

using Samples = std::vector<std::unique_ptr<Sample>>;

/// The pictures of the group, encoded by every contender.
Samples samplesOf(const std::string& group) {
    Samples samples;
    for (BenchPicture& picture : twins(group)) {
        samples.push_back(std::make_unique<Sample>(std::move(picture)));
    }
    for (auto& sample : samples) {
        encodeOurs(*sample);
        copyEncoded(*sample);
        encodeTiff(*sample);
        encodeTiffStrips(*sample);
        encodeQoi(*sample);
        decodeRows(*sample, sample->pic, [&](int row) {
            const auto at = static_cast<std::ptrdiff_t>(row) * sample->picture.width;
            for (std::size_t c = 0; c < 4; ++c) {
                if (!std::equal(sample->out[c].begin(),
                                sample->out[c].begin() + sample->picture.width,
                                sample->picture.planes[c].begin() + at)) {
                    throw std::runtime_error("the coders lose pixels of " + sample->picture.name);
                }
            }
        });
    }
    return samples;
}

void add(const std::string& name, Samples& samples, void (*run)(Sample&)) {
    benchmark::RegisterBenchmark(name.c_str(), [&samples, run](benchmark::State& state) {
        std::size_t turn = 0;
        for ([[maybe_unused]] auto _ : state) {
            run(*samples[turn++ % samples.size()]);
        }
    })->Unit(benchmark::kMillisecond);
}

/// The contenders of every group: "row group/name".
constexpr struct {
    const char* row;
    const char* name;
    void (*run)(Sample&);
} kContenders[] = {
    {"decode", "ours", decodeOurs},    {"decode", "portable", decodePortable},
    {"decode", "libtiff", decodeTiff}, {"decode", "libtiff strips", decodeTiffStrips},
    {"decode", "qoi", decodeQoi},      {"decode", "memcpy", copyPlanes},
    {"written", "ours", decodeOurs},   {"written", "one call", decodeCopy},
    {"encode", "ours", encodeOurs},    {"encode", "libtiff", encodeTiff},
    {"encode", "qoi", encodeQoi},
};

void addCoders(const std::string& group, Samples& samples) {
    for (const auto& [row, name, run] : kContenders) {
        add(std::string(row) + " " + group + "/" + name, samples, run);
    }
}

/// Writing and reading pictures of noise with ten times as many pixels or lines. A picture has at
/// most 32,767 lines: more of them are several pictures.
void addGrowth(const std::string& what, int count, int width, int height) {
    constexpr int kMostLines = 10000;
    const int lines = std::min(height, kMostLines);
    const auto sample = std::make_shared<Sample>(computedPictures(width, lines).back());
    const auto name = "growth " + what + "/" + std::to_string(count);
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
        for ([[maybe_unused]] auto _ : state) {
            for (int i = 0; i < height / lines; ++i) {
                encodeOurs(*sample);
                decodeOurs(*sample);
            }
        }
    });
}

void addPixelOrders(Samples& samples) {
    add("planes to line/ours", samples, [](Sample& sample) {
        eachLine(sample, [](const auto& lines, std::uint8_t* host, std::size_t width) {
            softimage::channelsToHostLine(softimage::kFormatRgba, lines, width, host);
        });
    });
    add("planes to line/memcpy", samples, copyPixels);
    add("line to planes/ours", samples, [](Sample& sample) {
        eachLine(sample, [](const auto& lines, std::uint8_t* host, std::size_t width) {
            softimage::hostLineToChannels(softimage::kFormatRgba, host, width, lines);
        });
    });
    add("line to planes/memcpy", samples, copyPixels);
}

} // namespace

int main(int argc, char** argv) try {
    benchmark::Initialize(&argc, argv);
    std::vector<std::string> groups;
    std::vector<std::unique_ptr<Samples>> all;
    for (const BenchPicture& picture : pictures()) {
        if (std::ranges::find(groups, picture.group) == groups.end()) {
            groups.push_back(picture.group);
            all.push_back(std::make_unique<Samples>(samplesOf(picture.group)));
            addCoders(picture.group, *all.back());
        }
    }
    addPixelOrders(*all.front());
    for (int count = 1000; count <= (small() ? 1000 : 1000000); count *= 10) {
        const int side = static_cast<int>(std::sqrt(count));
        addGrowth("pixels", count, side, count / side);
        addGrowth("lines", count, 16, count);
    }
    addMattes();
    benchmark::RunSpecifiedBenchmarks();
    return 0;
} catch (const std::exception& error) {
    std::cerr << "bench_coders: " << error.what() << '\n';
    return 1;
}
