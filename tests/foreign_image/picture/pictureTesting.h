// SPDX-License-Identifier: MIT
// Shared by the tests of picture files.
#pragma once

#include "foreign_image/testBytes.h"
#include "support/captureStderr.h"
#include "support/descriptors.h"
#include "support/memoryFile.h"
#include "tinyPicture.h"
#include "tinySoftType.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace picturetesting {

using namespace testbytes;

using UniquePicture = std::unique_ptr<Picture, PictureDisposer>;
using Chain = std::unique_ptr<ChannelPacket, ChannelPacketDisposer>;

inline const std::string kRgbPacket = "\x00\x08\x02\xE0"s;
inline const std::string kRgbThenAlpha = "\x01\x08\x02\xE0\x00\x08\x02\x10"s;

/// Everything before the first scanline.
inline std::string head(int width, int height, const std::string& packets) {
    return support::fileHeader("PICT", width, height) + packets;
}

/// A picture of the given channels, in which every byte differs from its neighbours.
inline UniquePicture picture(int width, int height, std::uint8_t mask) {
    UniquePicture record(pictureAllocate());
    record->width = static_cast<std::int16_t>(width);
    record->height = static_cast<std::int16_t>(height);
    record->fields = 3;
    const std::size_t size = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    for (std::size_t c = 0; c < 4; ++c) {
        if ((mask & kChannelMasks[c]) != 0) {
            record->planes[c] = static_cast<std::uint8_t*>(std::malloc(size));
            for (std::size_t i = 0; i < size; ++i) {
                record->planes[c][i] = static_cast<std::uint8_t>((i * 7 + c * 50) / 3);
            }
        }
    }
    return record;
}

inline Chain chainOf(const std::vector<std::pair<int, int>>& typesAndMasks) {
    ChannelPacket* first = nullptr;
    ChannelPacket** link = &first;
    for (const auto& [type, mask] : typesAndMasks) {
        *link = channelPacketAllocate();
        (*link)->size = 8;
        (*link)->type = static_cast<std::uint8_t>(type);
        (*link)->channels = static_cast<std::uint8_t>(mask);
        link = &(*link)->next;
    }
    return Chain(first);
}

/// A file opened for reading, after its header: all null if it is refused.
struct Opened {
    UniquePicture record{pictureAllocate()};
    base::UniqueFile stream;
    Chain chain;

    explicit Opened(const std::string& path) {
        ChannelPacket* packets = nullptr;
        stream.reset(pictureReadFileHeader(path.c_str(), record.get(), &packets));
        chain.reset(packets);
    }
};

/// A file being written line by line.
struct Created {
    UniquePicture record;
    Chain chain;
    base::UniqueFile stream;

    Created(const std::string& path, UniquePicture from, ChannelPacket* packets = nullptr)
        : record(std::move(from)) {
        stream.reset(pictureWriteFileHeader(path.c_str(), record.get(), &packets));
        chain.reset(packets);
        std::copy(record->planes, record->planes + 4, record->linePointers);
    }
};

/// Checks that one line was reported, with this in it; for "" none.
inline void expectSaid(const support::CaptureStderr& captured, std::string_view message) {
    EXPECT_NE(captured.text().find(message), std::string::npos) << captured.text();
    EXPECT_EQ(captured.lines(), message.empty() ? 0 : 1) << captured.text();
}

/// Checks that a file that cannot be read after these bytes is not taken for a cut one.
template <typename Owner>
void expectReadError(const std::string& who, const char* name, auto read, std::string_view bytes) {
    const support::TempDir dir;
    const std::string path = dir / name;
    const support::FailingPipe pipe(path, bytes);
    const support::CaptureStderr captured;
    EXPECT_EQ(Owner(read(path.c_str())), nullptr) << bytes.size();
    EXPECT_EQ(captured.text(),
              who + ": '" + path + "' could not be read: Resource temporarily unavailable.\n");
}

/// A folder with one picture in it.
class PictureFiles : public ::testing::Test {
  protected:
    PictureFiles() { optionReset(); }
    ~PictureFiles() override { optionReset(); }

    /// Writes the picture and returns the bytes of the file.
    std::string write(const UniquePicture& record, const Chain& chain = nullptr) {
        EXPECT_EQ(pictureWriteFile(path.c_str(), record.get(), chain.get()), 1);
        return contentOf(path);
    }
    /// Reads a file of these bytes.
    UniquePicture read(const std::string& bytes) {
        memory_.set(bytes);
        return UniquePicture(pictureReadFile((dir / "memory.pic").c_str()));
    }
    Opened open(const std::string& bytes) {
        memory_.set(bytes);
        return Opened(dir / "memory.pic");
    }

    const support::TempDir dir;
    const std::string path = dir / "a.pic";

  private:
    support::MemoryFile memory_{dir, "memory.pic"};
};
} // namespace picturetesting
