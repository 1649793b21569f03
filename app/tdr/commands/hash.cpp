// SPDX-License-Identifier: MIT
// tdr hash FILE...: the MD5 of the pixels of pictures, which does not depend on their formats.
#include "base/hostPixel.h"
#include "output/fileRun.h"
#include "output/formatted.h"
#include "pictures/pictureLines.h"
#include "subcommands.h"
#include "talkOptions.h"

#include <algorithm>
#include <array>
#include <nettle/md5.h>
#include <utility>

namespace {

/// The form of ffmpeg's framemd5, so that the same tools read it: a file is a frame, and a further
/// matte in it a further stream.
class FrameList {
  public:
    /// The line of a frame, after the description of its stream if that is new or has changed.
    std::string line(std::size_t stream, std::size_t frame, const tdr::PictureShape& shape,
                     std::string_view hash) {
        return describe(stream, {shape.width, shape.height}) +
               formatted("{}, {:10}, {:10}, {:8}, {:8}, {}\n", stream, frame, frame, 1,
                         tdr::pictureBytes(shape.width, shape.height), hash);
    }

  private:
    using Size = std::pair<std::int32_t, std::int32_t>;

    std::string describe(std::size_t stream, Size size) {
        const bool first = streams_.empty();
        if (stream < streams_.size() && streams_[stream] == size) {
            return {};
        }
        streams_.resize(std::max(streams_.size(), stream + 1));
        streams_[stream] = size;
        return (first ? "#format: frame checksums\n#version: 2\n#hash: MD5\n" : "") +
               formatted("#tb {0}: 1/25\n#media_type {0}: video\n#codec_id {0}: rawvideo\n"
                         "#dimensions {0}: {1}x{2}\n#sar {0}: 0/1\n",
                         stream, size.first, size.second) +
               (first ? "#stream#, dts,        pts, duration,     size, hash\n" : "");
    }

    std::vector<Size> streams_; ///< as described so far
};

/// The MD5 of one matte, or of the picture: red, green, blue, alpha, the top line first.
Outcome<std::string> hashOf(PictureLines& picture, std::int32_t matte) {
    md5_ctx md5;
    md5_init(&md5);
    std::vector<std::uint8_t> rgba(tdr::lineBytes(picture.shape().width));
    for (std::int32_t line = picture.shape().height; line-- > 0;) {
        const auto abgr = picture.read(line, matte);
        if (!abgr) {
            return abgr.failure();
        }
        for (std::size_t at = 0; at < rgba.size(); at += base::kHostPixelBytes) {
            std::ranges::reverse_copy(abgr->subspan(at, base::kHostPixelBytes), &rgba[at]);
        }
        md5_update(&md5, rgba.size(), rgba.data());
    }
    std::array<std::uint8_t, MD5_DIGEST_SIZE> digest{};
    md5_digest(&md5, digest.size(), digest.data());
    std::string text;
    for (const std::uint8_t byte : digest) {
        text += formatted("{:02x}", byte);
    }
    return text;
}

/// The hashes of all mattes of a file, or of its picture.
Outcome<std::vector<std::string>> hashesOf(PictureLines& picture) {
    std::vector<std::string> hashes;
    for (std::int32_t matte = 0; matte < picture.mattes(); ++matte) {
        auto hash = hashOf(picture, matte);
        if (!hash) {
            return hash.failure();
        }
        hashes.push_back(std::move(*hash));
    }
    const auto closed = picture.close();
    return closed ? Outcome<std::vector<std::string>>(std::move(hashes)) : closed.failure();
}

Outcome<std::string> linesOf(const DriverOptions& options, const std::string& file,
                             std::size_t frame, FrameList& list) {
    DriverSet drivers(options);
    auto picture = PictureLines::of(openPicture(drivers, file), file, "hashed");
    if (!picture) {
        return picture.failure();
    }
    const auto hashes = hashesOf(*picture);
    if (!hashes) {
        return hashes.failure();
    }
    std::string lines;
    for (std::size_t matte = 0; matte < hashes->size(); ++matte) {
        lines += list.line(matte, frame, picture->shape(), (*hashes)[matte]);
    }
    return lines;
}

struct HashOptions {
    std::vector<std::string> files;
    Talk talk;
};

/// Nothing is printed of a file that fails; the next one is still the next frame.
ExitCode hash(const DriverOptions& drivers, const HashOptions& options) {
    ExitCode exit = ExitCode::Done;
    FrameList list;
    FileRun run(options.files.size(), options.talk);
    for (std::size_t i = 0; i < options.files.size() && resultsAreWanted(); ++i) {
        const std::string& file = options.files[i];
        exit = worse(exit, run.workOn(file, [&] {
            const auto lines = linesOf(drivers, file, i, list);
            return lines ? say(*lines) : fail(lines.failure());
        }));
    }
    return exit;
}

} // namespace

void addHash(Arguments& arguments, Command& command) {
    auto options = std::make_shared<HashOptions>();
    arguments.value("files", "FILE", options->files, "Pictures to hash").require();
    addTalkOptions(arguments, options->talk.quiet, options->talk.verbose);
    arguments.run([&command, options] { command.exit = hash(command.drivers, *options); });
}
