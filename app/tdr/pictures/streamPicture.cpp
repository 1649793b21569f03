// SPDX-License-Identifier: MIT
#include "streamPicture.h"

#include "output/wholeWrite.h"

#include <cerrno>
#include <unistd.h>
#include <utility>

namespace {

constexpr std::size_t kBuffer = std::size_t{1} << 18;

class StreamInput : public PictureInput {
  public:
    explicit StreamInput(PamReader& reader)
        : PictureInput(reader.name()), reader_(reader), header_(reader.header()) {
        if (header_.largest > 255) {
            losses.emplace_back("16 bits a sample");
        }
    }

    [[nodiscard]] std::int32_t width() const override { return header_.width; }
    [[nodiscard]] std::int32_t height() const override { return header_.height; }

    Outcome<void> readAll(tdr::SharedBlock& block) override {
        const std::size_t size = tdr::lineBytes(width());
        for (std::int32_t line = height(); line-- > 0;) {
            auto read = reader_.readLine(
                block.bytes().subspan(static_cast<std::size_t>(line) * size, size));
            if (!read) {
                damaged_ = true;
                return read;
            }
        }
        return {};
    }
    Outcome<void> readLine(tdr::SharedBlock& block, std::int32_t line) override {
        if (line != reader_.left() - 1) {
            return Problem{ExitCode::Failed,
                           name() + ": a stream cannot be read twice; its picture is too large to "
                                    "be verified"};
        }
        auto read = reader_.readLine(block.bytes());
        damaged_ = !read;
        return read;
    }
    Outcome<void> close() override { return {}; }
    [[nodiscard]] bool damaged() const override { return damaged_; }

  private:
    PamReader& reader_;
    PamHeader header_;
    bool damaged_ = false;
};

/// Lines are collected: a write of each would take longer than their conversion.
class StreamOutput : public PictureOutput {
  public:
    StreamOutput() : PictureOutput("standard output") {}

    Outcome<void> begin(std::int32_t width, std::int32_t height) override {
        lineSize_ = tdr::lineBytes(width);
        lines_ = height;
        isInside_ = true;
        bytes_ = pamHeader(width, height);
        return {};
    }
    Outcome<void> writeAll(const tdr::SharedBlock& block) override {
        auto done = Outcome<void>();
        for (std::int32_t line = lines_; done && line-- > 0;) {
            done =
                add(block.bytes().subspan(static_cast<std::size_t>(line) * lineSize_, lineSize_));
        }
        return done;
    }
    Outcome<void> writeLine(const tdr::SharedBlock& block, std::int32_t /*line*/) override {
        return add(block.bytes());
    }
    Outcome<std::vector<std::string>> close(const Metadata& metadata) override {
        if (auto flushed = flush(); !flushed) {
            return flushed.failure();
        }
        isInside_ = false;
        return textsOf(metadata);
    }
    Outcome<void> verify(const OriginalPicture& /*original*/) override { return {}; }
    Outcome<void> commit(std::optional<timespec> /*time*/) override { return {}; }

    [[nodiscard]] bool isPartlyWritten() const override { return isInside_; }

    [[nodiscard]] static bool isInside() { return isInside_; }
    [[nodiscard]] static bool isUnwanted() { return isUnwanted_; }

  private:
    Outcome<void> add(PixelLine line) {
        addPamLine(line, bytes_);
        return bytes_.size() < kBuffer ? Outcome<void>() : flush();
    }
    Outcome<void> flush() {
        const int error = writeWhole(STDOUT_FILENO, bytes_);
        bytes_.clear();
        isUnwanted_ = isUnwanted_ || error == EPIPE;
        return error == 0 ? Outcome<void>() : problemWith(name(), error);
    }

    std::size_t lineSize_ = 0;
    std::int32_t lines_ = 0;
    std::string bytes_;
    inline static bool isInside_ = false;   ///< a picture that is not whole
    inline static bool isUnwanted_ = false; ///< nobody reads what is written
};

} // namespace

std::unique_ptr<PictureInput> streamInput(PamReader& reader) {
    return std::make_unique<StreamInput>(reader);
}

Outcome<std::unique_ptr<PictureOutput>> streamOutput() {
    if (StreamOutput::isInside()) {
        return Problem{ExitCode::Failed, "standard output: a picture before this one is not whole"};
    }
    if (::isatty(STDOUT_FILENO) == 1) {
        return Problem{ExitCode::Failed, "standard output: a terminal shows no pictures"};
    }
    return Outcome<std::unique_ptr<PictureOutput>>(std::make_unique<StreamOutput>());
}

bool streamIsUnwanted() {
    return StreamOutput::isUnwanted();
}
