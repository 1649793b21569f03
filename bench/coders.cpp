// SPDX-License-Identifier: MIT
// The scanline coders and the pixel orders against similar libraries and against memcpy. Benchmarks
// are called "row/contender"; bench/report.py joins them.
//
// Files are in the page cache. A picture and its upside-down copy take turns, so that branch
// predictors cannot learn one picture.
#include "picture/coders/tinyPictureCoders.h"
#include "pictures.h"
#include "pixelOrder.h"
#include "tinyPicture.h"

#include <benchmark/benchmark.h>
#include <tiffio.h>
#define QOI_IMPLEMENTATION
#define QOI_NO_STDIO
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wconversion"
#include <qoi.h>
#pragma GCC diagnostic pop

#include <algorithm>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <unistd.h>

using bench::BenchPicture;
using Planes = std::array<std::vector<std::uint8_t>, 4>;

namespace {

using Stream = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

/// A file that is removed with the object. It is read from the page cache.
class ScratchFile {
  public:
    ScratchFile() : file_(std::tmpfile(), std::fclose) {
        if (!file_) {
            throw std::runtime_error("no temporary file");
        }
    }

    /// A new descriptor for the caller, at the file's beginning.
    [[nodiscard]] int descriptor() const {
        const int fd = dup(fileno(file_.get()));
        lseek(fd, 0, SEEK_SET);
        return fd;
    }
    [[nodiscard]] Stream open(const char* mode) const {
        return {fdopen(descriptor(), mode), std::fclose};
    }

  private:
    Stream file_;
};

/// The input of every contender. Decoding goes to the channel planes of one line, reused for every
/// line, as a driver does it; copying goes to planes of the whole picture that are already mapped.
struct Sample {
    BenchPicture picture;
    Planes out;
    std::vector<std::uint8_t> pixels; ///< interleaved
    ScratchFile pic, copy, tiff;
    std::vector<std::uint8_t> qoi;

    explicit Sample(BenchPicture p) : picture(std::move(p)), pixels(picture.interleaved()) {
        for (auto& plane : out) {
            plane.assign(picture.planeBytes(), 1);
        }
    }
    [[nodiscard]] auto width() const { return static_cast<std::uint32_t>(picture.width); }
    [[nodiscard]] auto height() const { return static_cast<std::uint32_t>(picture.height); }
};

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

// --- libtiff, PackBits in planes -----------------------------------------------------------------

TIFF* openTiff(const Sample& sample, const char* mode) {
    return TIFFFdOpen(sample.tiff.descriptor(), "scratch", mode);
}

void encodeTiff(Sample& sample) {
    TIFF* tiff = openTiff(sample, "w");
    TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, sample.width());
    TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, sample.height());
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 4);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 8);
    const std::uint16_t alpha = EXTRASAMPLE_UNASSALPHA;
    TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, 1, &alpha);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_SEPARATE);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, COMPRESSION_PACKBITS);
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, sample.height());
    for (std::uint32_t strip = 0; strip < 4; ++strip) {
        TIFFWriteEncodedStrip(tiff, strip, sample.picture.planes[strip].data(),
                              static_cast<tmsize_t>(sample.picture.planeBytes()));
    }
    TIFFClose(tiff);
}

void decodeTiff(Sample& sample) {
    TIFF* tiff = openTiff(sample, "r");
    for (std::uint16_t channel = 0; channel < 4; ++channel) {
        for (std::uint32_t row = 0; row < sample.height(); ++row) {
            TIFFReadScanline(tiff, sample.out[channel].data(), row, channel);
        }
    }
    TIFFClose(tiff);
}

// --- QOI -----------------------------------------------------------------------------------------

void encodeQoi(Sample& sample) {
    const qoi_desc shape = {sample.width(), sample.height(), 4, QOI_SRGB};
    int bytes = 0;
    void* encoded = qoi_encode(sample.pixels.data(), &shape, &bytes);
    sample.qoi.resize(static_cast<std::size_t>(bytes));
    std::memcpy(sample.qoi.data(), encoded, sample.qoi.size());
    std::free(encoded);
}

void decodeQoi(Sample& sample) {
    qoi_desc shape{};
    void* pixels = qoi_decode(sample.qoi.data(), static_cast<int>(sample.qoi.size()), &shape, 4);
    benchmark::DoNotOptimize(pixels);
    std::free(pixels);
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
    for (BenchPicture& picture : bench::twins(group)) {
        samples.push_back(std::make_unique<Sample>(std::move(picture)));
    }
    for (auto& sample : samples) {
        encodeOurs(*sample);
        copyEncoded(*sample);
        encodeTiff(*sample);
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

void addCoders(const std::string& group, Samples& samples) {
    add("decode " + group + "/ours", samples, decodeOurs);
    add("written " + group + "/ours", samples, decodeOurs);
    add("written " + group + "/one call", samples, decodeCopy);
    add("decode " + group + "/portable", samples, decodePortable);
    add("decode " + group + "/libtiff", samples, decodeTiff);
    add("decode " + group + "/qoi", samples, decodeQoi);
    add("decode " + group + "/memcpy", samples, copyPlanes);
    add("encode " + group + "/ours", samples, encodeOurs);
    add("encode " + group + "/libtiff", samples, encodeTiff);
    add("encode " + group + "/qoi", samples, encodeQoi);
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

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    std::vector<std::string> groups;
    std::vector<std::unique_ptr<Samples>> all;
    for (const BenchPicture& picture : bench::pictures()) {
        if (std::ranges::find(groups, picture.group) == groups.end()) {
            groups.push_back(picture.group);
            all.push_back(std::make_unique<Samples>(samplesOf(picture.group)));
            addCoders(picture.group, *all.back());
        }
    }
    addPixelOrders(*all.front());
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
