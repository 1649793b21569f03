// SPDX-License-Identifier: MIT
// PIC pictures: header, chain and scanlines, line by line as the driver reads them, and by the
// self-contained calls; both must give the same pixels.
#include "fuzzInput.h"

#include "base/uniqueFile.h"
#include "tinyPicture.h"
#include "tinySoftType.h"

#include <memory>
#include <vector>

namespace {

/// A claimed height of 32767 empty lines teaches nothing that the first few do not.
constexpr int kMostLines = 64;

using Chain = std::unique_ptr<ChannelPacket, ChannelPacketDisposer>;
using Lines = std::vector<std::uint8_t>;

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

/// All lines through `readLine`, each channel's line behind the other.
template <typename ReadLine>
Lines decode(Open& file, ReadLine readLine) {
    const auto width = static_cast<std::size_t>(file.record.width);
    Lines all;
    for (int line = 0; line < file.record.height && line < kMostLines; ++line) {
        Lines one(width * kPictureChannels);
        for (int c = 0; c < kPictureChannels; ++c) {
            file.record.linePointers[c] = one.data() + static_cast<std::size_t>(c) * width;
        }
        readLine();
        all.insert(all.end(), one.begin(), one.end());
    }
    return all;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const fuzz::InputFolder folder;
    option.level = 0;
    const std::string path = folder.write("input.pic", data, size);
    Open file = open(path);
    if (!file.stream) {
        return 0;
    }
    const Lines plain = decode(
        file, [&] { pictureReadScanline(file.stream.get(), &file.record, file.chain.get()); });
    Open again = open(path);
    const std::unique_ptr<PictureReader, PictureReaderDisposer> reader(
        pictureReaderAllocate(again.stream.get()));
    const Lines windowed = decode(
        again, [&] { pictureReaderScanline(reader.get(), &again.record, again.chain.get()); });
    if (plain != windowed) {
        std::abort();
    }
    return 0;
}
