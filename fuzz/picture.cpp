// SPDX-License-Identifier: MIT
// PIC pictures: header, chain and scanlines, line by line as the driver reads them, and by the
// standalone calls; both must give the same pixels.
#include "fuzzInput.h"

#include "base/uniqueFile.h"
#include "tinyPicture.h"
#include "tinySoftType.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace {

/// A larger claimed size would take time but reach no further code.
constexpr int kMostLines = 64;
constexpr int kMostPixels = 1 << 16;

using Chain = std::unique_ptr<ChannelPacket, ChannelPacketDisposer>;
using Line = std::vector<std::uint8_t>;

struct Open {
    base::UniqueFile stream;
    Picture record{};
    Chain chain;
};

Open open(const std::string& path) {
    Open file;
    ChannelPacket* chain = nullptr;
    file.stream.reset(pictureReadFileHeader(path.c_str(), &file.record, &chain));
    file.chain.reset(chain);
    return file;
}

/// Decodes one line through `readLine`, all channels in a row.
template <typename ReadLine>
void decode(Open& file, Line& line, ReadLine readLine) {
    const auto width = static_cast<std::size_t>(file.record.width);
    std::fill(line.begin(), line.end(), std::uint8_t{0});
    for (std::size_t c = 0; c < kPictureChannels; ++c) {
        file.record.linePointers[c] = line.data() + c * width;
    }
    readLine(&file.record, file.chain.get());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const fuzz::InputFolder folder;
    option.level = 0;
    const std::string path = folder.write("input.pic", data, size);
    Open plain = open(path);
    if (!plain.stream) {
        return 0;
    }
    Open windowed = open(path);
    const std::unique_ptr<PictureReader, PictureReaderDisposer> reader(
        pictureReaderAllocate(windowed.stream.get()));
    const auto width = static_cast<std::size_t>(plain.record.width);
    Line one(width * kPictureChannels);
    Line other(width * kPictureChannels);
    const int most = std::clamp(kMostPixels / plain.record.width, 2, kMostLines);
    for (int row = 0; row < std::min<int>(plain.record.height, most); ++row) {
        decode(plain, one, [&](Picture* record, const ChannelPacket* chain) {
            pictureReadScanline(plain.stream.get(), record, chain);
        });
        decode(windowed, other, [&](Picture* record, const ChannelPacket* chain) {
            pictureReaderScanline(reader.get(), record, chain);
        });
        if (one != other) {
            std::abort();
        }
    }
    return 0;
}
