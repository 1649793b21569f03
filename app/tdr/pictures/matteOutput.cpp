// SPDX-License-Identifier: MIT
#include "matteOutput.h"

#include "base/extension.h"
#include "base/hostPixel.h"
#include "base/uniqueFile.h"
#include "files/readableFile.h"
#include "output/formatted.h"
#include "tinyTag.h"
#include "toolkitPicture.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace {

using UniqueTag = std::unique_ptr<Tag, TagDisposer>;

/// Of alpha, blue, green and red, by the weights of Rec. 601.
int luminanceOf(PixelLine pixel) {
    return (114 * pixel[1] + 587 * pixel[2] + 299 * pixel[3] + 500) / 1000;
}

void setBit(std::uint8_t* row, std::size_t x, bool set) {
    row[x / 8] = static_cast<std::uint8_t>(row[x / 8] | (set ? 0x80 >> x % 8 : 0));
}

UniqueTag newTag(std::int32_t width, std::int32_t height, std::int32_t channels) {
    UniqueTag tag(tagAllocate());
    if (tag) {
        tag->width = static_cast<std::int16_t>(width);
        tag->height = static_cast<std::int16_t>(height);
        tag->fields = 3;
        tag->channelCount = static_cast<std::int16_t>(channels);
    }
    return tag && tagAllocateChannels(tag.get()) == 1 ? std::move(tag) : nullptr;
}

bool sameRow(const std::uint8_t* one, const std::uint8_t* other, std::size_t bytes) {
    const auto bit = [](const std::uint8_t* row, std::size_t i) { return row ? row[i] : 0; };
    for (std::size_t i = 0; i < bytes; ++i) {
        if (bit(one, i) != bit(other, i)) {
            return false;
        }
    }
    return true;
}

class MatteOutput : public PictureOutput {
  public:
    MatteOutput(std::string name, MatteRule rule, ReplacedFile file)
        : PictureOutput(std::move(name)), rule_(std::move(rule)), file_(std::move(file)) {}

    Outcome<void> begin(std::int32_t width, std::int32_t height) override;
    Outcome<void> writeAll(const tdr::SharedBlock& block) override;
    Outcome<void> writeLine(const tdr::SharedBlock& block, std::int32_t line) override {
        return addLine(block.bytes().first(tdr::lineBytes(tag_->width)), line);
    }
    Outcome<std::vector<std::string>> close(const Metadata& metadata) override;
    Outcome<void> verify(const OriginalPicture& original) override;
    Outcome<void> commit(std::optional<timespec> time) override;

  private:
    Outcome<void> addLine(PixelLine line, std::int32_t number);
    Outcome<void> write();
    [[nodiscard]] std::int32_t channels() const {
        return static_cast<std::int32_t>(rule_.inputs.size());
    }
    [[nodiscard]] Problem noMemory() const { return problemWith(name(), ENOMEM); }

    MatteRule rule_;
    ReplacedFile file_;
    UniqueTag tag_;     ///< by luminance, until a picture turns out to have alpha
    UniqueTag byAlpha_; ///< the same channels by alpha
    std::int32_t channel_ = 0;
    bool transparent_ = false;
};

Outcome<void> MatteOutput::begin(std::int32_t width, std::int32_t height) {
    if (!tag_) {
        tag_ = newTag(width, height, channels());
        byAlpha_ = newTag(width, height, channels());
    }
    if (!tag_ || !byAlpha_) {
        return noMemory();
    }
    transparent_ = false;
    if (tag_->width != width || tag_->height != height) {
        return Problem{
            ExitCode::Failed,
            formatted(
                "{}: the mattes of a file have one size: {} has {} x {} pixels, {} has {} x {}",
                name(), rule_.inputs.front(), tag_->width, tag_->height,
                rule_.inputs[static_cast<std::size_t>(channel_)], width, height)};
    }
    return {};
}

Outcome<void> MatteOutput::writeAll(const tdr::SharedBlock& block) {
    const std::size_t size = tdr::lineBytes(tag_->width);
    for (std::int32_t line = tag_->height; line-- > 0;) {
        const PixelLine pixels = block.bytes().subspan(static_cast<std::size_t>(line) * size, size);
        if (auto added = addLine(pixels, line); !added) {
            return added;
        }
    }
    return {};
}

Outcome<void> MatteOutput::addLine(PixelLine line, std::int32_t number) {
    const std::int32_t row = tag_->height - 1 - number;
    std::uint8_t* bright = tagTakeRow(tag_.get(), channel_, row);
    std::uint8_t* alpha = tagTakeRow(byAlpha_.get(), channel_, row);
    if (bright == nullptr || alpha == nullptr) {
        return noMemory();
    }
    for (std::size_t x = 0; x < line.size() / base::kHostPixelBytes; ++x) {
        const PixelLine pixel = line.subspan(x * base::kHostPixelBytes, base::kHostPixelBytes);
        transparent_ = transparent_ || pixel[0] != base::kOpaque;
        setBit(bright, x, luminanceOf(pixel) > rule_.threshold);
        setBit(alpha, x, pixel[0] > rule_.threshold);
    }
    return {};
}

/// The last channel completes the file.
Outcome<std::vector<std::string>> MatteOutput::close(const Metadata& metadata) {
    if (transparent_) {
        std::swap(tag_->channels[channel_], byAlpha_->channels[channel_]);
    }
    if (++channel_ < channels()) {
        return textsOf(metadata);
    }
    if (auto written = write(); !written) {
        return written.failure();
    }
    auto losses = carryMetadata(metadata, file_.path());
    return losses ? losses : problemWith(name(), losses.failure());
}

Outcome<void> MatteOutput::write() {
    base::UniqueFile stream(tagWriteFileHeader(file_.path().c_str(), tag_.get()));
    if (!stream) {
        return problemWith(name(), errno);
    }
    errno = 0;
    for (int row = 0; row < tag_->height && std::ferror(stream.get()) == 0; ++row) {
        tagWriteScanline(stream.get(), tag_.get(), row);
    }
    const int rowError = std::ferror(stream.get()) != 0 ? errno : 0;
    const int closeError = base::closeWritten(std::move(stream));
    const int error = rowError != 0 ? rowError : closeError;
    return error == 0 ? Outcome<void>() : problemWith(name(), error);
}

Outcome<void> MatteOutput::verify(const OriginalPicture& /*original*/) {
    if (channel_ < channels()) {
        return {};
    }
    const UniqueTag back(tagReadFile(file_.path().c_str()));
    bool same = back && back->width == tag_->width && back->height == tag_->height &&
                back->channelCount == tag_->channelCount;
    const auto bytes = static_cast<std::size_t>(tag_->width + 7) / 8;
    for (int channel = 0; same && channel < tag_->channelCount; ++channel) {
        for (int row = 0; same && row < tag_->height; ++row) {
            same =
                sameRow(tagRow(tag_.get(), channel, row), tagRow(back.get(), channel, row), bytes);
        }
    }
    return same ? Outcome<void>()
                : Problem{ExitCode::Failed,
                          name() + ": not written, because its mattes read back otherwise"};
}

Outcome<void> MatteOutput::commit(std::optional<timespec> time) {
    if (channel_ < channels()) {
        return {};
    }
    const auto set = time ? file_.setTime(*time) : Outcome<void>();
    return set ? file_.commit() : set;
}

} // namespace

bool isMatte(const std::string& path, const std::string& kind) {
    return base::hasExtension(kind.empty() ? path : "." + kind, kMatteEnding);
}

Outcome<std::unique_ptr<PictureOutput>> openMatte(const std::string& path, MatteRule rule,
                                                  Existing existing) {
    auto file = ReplacedFile::begin(path, kMatteEnding, existing);
    if (!file) {
        return file.failure();
    }
    return Outcome<std::unique_ptr<PictureOutput>>(
        std::make_unique<MatteOutput>(path, std::move(rule), std::move(*file)));
}

Outcome<std::int32_t> mattesIn(const std::string& path) {
    auto file = openReadable(path);
    if (!file && file.failure().cause == Cause::Missing) {
        return 0;
    }
    const auto opened = file ? openToolkitPicture(path, std::move(*file)) : file.failure();
    if (!opened) {
        return opened.failure();
    }
    const bool isMatte = *opened && (*opened)->matte != nullptr;
    return isMatte ? (*opened)->matte->channelCount : 0;
}
