// SPDX-License-Identifier: MIT
// tdr salvage IN OUT: writes the lines of a damaged PIC picture that can still be read.
#include "subcommands.h"

#include "base/extension.h"
#include "base/retry.h"
#include "files/readableFile.h"
#include "files/replacedFile.h"
#include "output/console.h"
#include "output/formatted.h"
#include "pictures/salvage.h"
#include "tdr/interruptGuard.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using Colour = std::array<std::uint8_t, kPictureChannels>;

struct SalvageOptions {
    std::string in;
    std::string out;
    std::string fill = "#ff00ff";
    bool force = false;
};

/// Largest file that is read: as much as the toolkit reads of a picture as a whole.
constexpr off_t kMostBytes = kMaxWholePictureBytes;

/// "#rrggbb", which is opaque, or "#rrggbbaa"; none for another text.
std::optional<Colour> colourOf(std::string_view text) {
    Colour colour{0, 0, 0, 255};
    if (!text.starts_with('#') || (text.size() != 7 && text.size() != 9)) {
        return {};
    }
    for (std::size_t i = 0; 2 * i + 1 < text.size(); ++i) {
        const char* const from = text.data() + 2 * i + 1;
        const auto read = std::from_chars(from, from + 2, colour[i], 16);
        if (read.ec != std::errc() || read.ptr != from + 2) {
            return {};
        }
    }
    return colour;
}

std::string checkColour(const std::string& text) {
    return colourOf(text) ? "" : "a colour is #rrggbb or #rrggbbaa";
}

std::string checkTarget(const std::string& out) {
    return base::hasExtension(out, ".pic") ? "" : "only PIC pictures (.pic) can be written";
}

Problem changedMeanwhile(const std::string& name) {
    return {ExitCode::Failed, name + ": was changed while it was read"};
}

Outcome<std::vector<std::uint8_t>> bytesOf(int fd, const std::string& name) {
    struct stat status {};
    if (::fstat(fd, &status) != 0) {
        return problemWith(name, errno);
    }
    if (status.st_size > kMostBytes) {
        return Problem{ExitCode::Failed, name + ": too large to be salvaged"};
    }
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(status.st_size));
    for (std::size_t at = 0; at < bytes.size();) {
        const ssize_t got = base::retried(
            [&] { return ::pread(fd, &bytes[at], bytes.size() - at, static_cast<off_t>(at)); });
        if (got <= 0) {
            return got < 0 ? problemWith(name, errno) : changedMeanwhile(name);
        }
        at += static_cast<std::size_t>(got);
    }
    return bytes;
}

/// The same channels in the same groups, all mixed, which loses nothing.
std::unique_ptr<ChannelPacket, ChannelPacketDisposer> mixedChain(const ChannelPacket* chain) {
    std::vector<std::uint8_t> masks;
    for (; chain != nullptr; chain = chain->next) {
        masks.push_back(chain->channels);
    }
    return std::unique_ptr<ChannelPacket, ChannelPacketDisposer>(channelPacketAllocateChain(masks));
}

/// Sets the lines of the record to those of `channels`, one after the other.
void setLines(Picture& picture, std::uint8_t* channels) {
    for (std::uint8_t*& line : picture.linePointers) {
        line = channels;
        channels += picture.width;
    }
}

Outcome<void> writeLines(std::FILE* stream, const ToolkitPicture& file, const ChannelPacket* chain,
                         LinesAt& lines, const SalvagedLines& salvaged,
                         const SalvageOptions& options) {
    const std::unique_ptr<PictureWriter, PictureWriterDisposer> writer(
        pictureWriterAllocate(stream));
    if (writer == nullptr) {
        return problemWith(options.out, ENOMEM);
    }
    const auto width = static_cast<std::size_t>(file.picture.width);
    const Colour fill = *colourOf(options.fill);
    std::vector<std::uint8_t> lost(width * fill.size());
    for (std::size_t c = 0; c < fill.size(); ++c) {
        std::fill_n(lost.begin() + static_cast<std::ptrdiff_t>(c * width), width, fill[c]);
    }
    Picture record = file.picture;
    for (const std::int64_t begin : salvaged.begins) {
        if (begin >= 0 && !lines.read(begin, 0)) {
            return changedMeanwhile(options.in);
        }
        setLines(record, begin >= 0 ? lines.channels(0).data() : lost.data());
        if (pictureWriterScanline(writer.get(), &record, chain) == 0) {
            return problemWith(options.out, pictureWriterError(writer.get()));
        }
    }
    return {};
}

Outcome<void> write(const ToolkitPicture& file, LinesAt& lines, const SalvagedLines& salvaged,
                    const SalvageOptions& options) {
    auto target = ReplacedFile::begin(options.out, ".pic",
                                      options.force ? Existing::Replaced : Existing::Kept);
    if (!target) {
        return target.failure();
    }
    const auto chain = mixedChain(file.chain.get());
    ChannelPacket* packets = chain.get();
    const std::string path = target->path().string();
    base::UniqueFile stream(packets == nullptr
                                ? nullptr
                                : pictureWriteFileHeader(path.c_str(), &file.picture, &packets));
    if (stream == nullptr) {
        return problemWith(options.out, errno);
    }
    if (auto written = writeLines(stream.get(), file, packets, lines, salvaged, options);
        !written) {
        return written;
    }
    const int closed = base::closeWritten(std::move(stream));
    stream.reset(closed == 0 ? std::fopen(path.c_str(), "r+e") : nullptr);
    if (stream == nullptr || pictureNotesWrite(stream.get(), &file.notes) != 1) {
        return problemWith(options.out, closed != 0 ? closed : errno);
    }
    return target->commit();
}

std::string reportOn(const SalvageOptions& options, const SalvagedLines& salvaged) {
    const auto count = static_cast<std::int32_t>(salvaged.begins.size());
    const std::int32_t lost = salvaged.lost();
    std::string text = formatted("{}: {} of {} of {}", printable(options.out), count - lost,
                                 counted(count, "line"), printable(options.in));
    if (lost > 0) {
        text += lost == 1 ? formatted("; lost is line {} from the top", salvaged.lostFirst)
                          : formatted("; lost are lines {} to {} from the top", salvaged.lostFirst,
                                      salvaged.lostEnd - 1);
    }
    if (salvaged.damaged() > 0) {
        text += formatted("{} (bytes {} to {})", lost > 0 ? "" : "; some bytes belong to no line",
                          salvaged.damageBegin, salvaged.damageEnd);
    } else if (lost > 0 && lost < count) {
        text += " (a guess: no byte is between the others)";
    }
    return text + '\n';
}

Outcome<ToolkitPicture> openPic(const std::string& in) {
    auto fd = openReadable(in);
    if (!fd) {
        return fd.failure();
    }
    auto opened = openToolkitPicture(in, std::move(*fd));
    if (!opened) {
        return opened.failure();
    }
    if (!*opened || (*opened)->chain == nullptr) {
        return Problem{ExitCode::Failed, in + ": not a PIC picture", Cause::WrongKind};
    }
    if (channelPacketIsDecodable((*opened)->chain.get()) == 0) {
        return Problem{ExitCode::Failed, in + ": a channel packet has an unknown coding"};
    }
    if (!hasChannels((*opened)->chain.get())) {
        return Problem{ExitCode::Failed, in + ": no packet has a channel", Cause::Damaged};
    }
    return std::move(**opened);
}

ExitCode salvage(const SalvageOptions& options) {
    if (const auto other = checkIsNotInput(options.out, options.in); !other) {
        return fail(other.failure());
    }
    auto file = openPic(options.in);
    if (!file) {
        return fail(file.failure());
    }
    const auto bytes = bytesOf(::fileno(file->stream.get()), options.in);
    if (!bytes) {
        return fail(bytes.failure());
    }
    auto lines = LinesAt::of(*file, options.in, *bytes);
    if (!lines) {
        return fail(lines.failure());
    }
    const ZeroTail zeros = ZeroTail::of(*file);
    if (zeros.error() != 0) {
        return fail(problemWith(options.in, zeros.error()));
    }
    SalvagedLines salvaged;
    {
        const tdr::InterruptGuard::Pause nothingToCleanUp; // the search takes long
        salvaged = salvageLines(*file, *lines, zeros);
    }
    if (const auto written = write(*file, *lines, salvaged, options); !written) {
        return fail(written.failure());
    }
    const bool whole = salvaged.lost() == 0 && salvaged.damaged() == 0;
    return worse(whole ? ExitCode::Done : ExitCode::Failed, say(reportOn(options, salvaged)));
}

} // namespace

void addSalvage(Arguments& arguments, Command& command) {
    auto options = std::make_shared<SalvageOptions>();
    arguments.value("IN", "PICTURE", options->in, "Damaged PIC picture").require();
    arguments.value("OUT", "PICTURE", options->out, "PIC picture to write")
        .require()
        .check(checkTarget);
    arguments
        .value("--fill", "COLOUR", options->fill,
               "Colour of lost lines: #rrggbb or #rrggbbaa (default: #ff00ff)")
        .check(checkColour);
    arguments.flag("--force", options->force, "Replace an existing file OUT");
    arguments.run([&command, options] {
        command.exit = withinMemory(options->in, [&] { return salvage(*options); });
    });
}
