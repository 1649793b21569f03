// SPDX-License-Identifier: MIT
#include "metadata.h"

#include "base/byteOrder.h"
#include "base/uniqueFd.h"
#include "base/uniqueFile.h"
#include "output/formatted.h"
#include "pixelRatio.h"
#include "tinyPictureNotes.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <unistd.h>
#include <utility>

namespace {

constexpr std::int16_t kFullFrame = 3;
constexpr std::string_view kCommentKeyword("Comment\0", 8); ///< the beginning of a PNG's comment
constexpr std::size_t kRatioChunkSize = 9; ///< pixels per unit across and down, and the unit

/// Names of chunks in messages; all others appear by their chunk names.
constexpr std::pair<std::string_view, std::string_view> kChunkWords[] = {
    {"acTL", "animation"},        {"bKGD", "background colour"},
    {"cHRM", "chromaticities"},   {"cICP", "colour space"},
    {"eXIf", "EXIF data"},        {"fcTL", "animation"},
    {"fdAT", "animation"},        {"gAMA", "gamma"},
    {"iCCP", "colour profile"},   {"pHYs", "resolution"},
    {"sBIT", "significant bits"}, {"sRGB", "colour space"},
    {"tIME", "time of change"},
};

/// The simplest fraction that gives `ratio` (from 1/8 to 8) when converted to a float again.
std::pair<std::uint32_t, std::uint32_t> fractionOf(float ratio) {
    std::uint64_t over = 1;
    std::uint64_t overBefore = 0;
    std::uint64_t under = 0;
    std::uint64_t underBefore = 1;
    double rest = static_cast<double>(ratio);
    do {
        const auto whole = static_cast<std::uint64_t>(rest);
        overBefore = std::exchange(over, whole * over + overBefore);
        underBefore = std::exchange(under, whole * under + underBefore);
        rest = 1 / (rest - static_cast<double>(whole));
    } while (static_cast<float>(static_cast<double>(over) / static_cast<double>(under)) != ratio);
    return {static_cast<std::uint32_t>(over), static_cast<std::uint32_t>(under)};
}

const std::uint8_t* bytesOf(const PngChunk& chunk) {
    return reinterpret_cast<const std::uint8_t*>(chunk.data.data());
}

/// The wider a pixel, the fewer of them per unit across.
PngChunk ratioChunk(float ratio) {
    const auto [over, under] = fractionOf(ratio);
    std::uint8_t bytes[kRatioChunkSize] = {}; // unit 0: unspecified
    base::storeBe32(bytes, under);
    base::storeBe32(bytes + 4, over);
    return {"pHYs", std::string(reinterpret_cast<const char*>(bytes), sizeof bytes)};
}

float ratioOf(const PngChunk& chunk) {
    const std::uint32_t across = base::loadBe32(bytesOf(chunk));
    const std::uint32_t down = base::loadBe32(bytesOf(chunk) + 4);
    return across == 0 ? 1 : static_cast<float>(static_cast<double>(down) / across);
}

bool isRatio(const PngChunk& chunk) {
    return chunk.name == "pHYs" && chunk.data.size() == kRatioChunkSize;
}

bool isComment(const PngChunk& chunk) {
    return chunk.name == "tEXt" && chunk.data.starts_with(kCommentKeyword);
}

/// The text for a chunk that is left out.
std::string wordsFor(const PngChunk& chunk) {
    if (chunk.name == "tEXt" || chunk.name == "zTXt" || chunk.name == "iTXt") {
        const std::string keyword = chunk.data.substr(0, chunk.data.find('\0'));
        return keyword.empty() ? "text" : formatted("text \"{:.79}\"", keyword);
    }
    const auto row = std::ranges::find(kChunkWords, std::string_view(chunk.name),
                                       &std::pair<std::string_view, std::string_view>::first);
    return row != std::end(kChunkWords) ? std::string(row->second) : "chunk " + chunk.name;
}

/// The texts for everything left out, each once.
class Losses {
  public:
    void add(std::string words) {
        if (std::ranges::find(words_, words) != words_.end()) {
            return;
        }
        if (words_.size() < kMost) {
            words_.push_back(std::move(words));
        } else if (!std::exchange(more_, true)) {
            words_.emplace_back("more of the kind");
        }
    }
    void addPngOnly(const PngChunks& png) {
        if (png.sampleBits > 8) {
            add(formatted("{} bits a sample", png.sampleBits));
        }
        for (const std::string& name : png.left) {
            add(wordsFor({name, {}}));
        }
    }
    std::vector<std::string> take() { return std::move(words_); }

  private:
    static constexpr std::size_t kMost = 12;
    std::vector<std::string> words_;
    bool more_ = false;
};

/// Adds every chunk for which `hasPlace` is false.
template <typename HasPlace>
void loseChunks(const Metadata& from, Losses& losses, HasPlace hasPlace) {
    if (from.png) {
        for (const PngChunk& chunk : from.png->kept) {
            if (!hasPlace(chunk)) {
                losses.add(wordsFor(chunk));
            }
        }
    }
}

/// To a PIC or TAG. 0 or errno.
int carryToHeader(const Metadata& from, std::FILE* stream, Losses& losses) {
    loseChunks(from, losses, [commented = false](const PngChunk& chunk) mutable {
        const bool isOnlyRatio = isRatio(chunk) && chunk.data.back() == 0;
        return isOnlyRatio || (isComment(chunk) && !std::exchange(commented, true));
    });
    if (from.comment.size() > kFileCommentSize) {
        losses.add(formatted("comment behind its first {} bytes", kFileCommentSize));
    }
    PictureNotes notes{from.ratio, from.fields, {}, 0};
    from.comment.copy(notes.comment, kFileCommentSize);
    return pictureNotesWrite(stream, &notes) == 1 ? 0 : errno;
}

/// To a PNG. 0 or errno.
int carryToChunks(const Metadata& from, int fd, Losses& losses) {
    std::vector<PngChunk> chunks;
    if (from.png) {
        chunks = from.png->kept;
    } else if (meantRatio(from.ratio) != 1) {
        chunks.push_back(ratioChunk(from.ratio));
    }
    if (!from.png && !from.comment.empty()) {
        chunks.push_back({"tEXt", std::string(kCommentKeyword) + from.comment});
    }
    if (from.fields != kFullFrame) {
        losses.add(formatted("field code {}", from.fields));
    }
    return chunks.empty() ? 0 : insertPngChunks(fd, chunks);
}

/// To any other kind of file.
void loseAll(const Metadata& from, Losses& losses) {
    loseChunks(from, losses, [](const PngChunk&) { return false; });
    if (!from.png && meantRatio(from.ratio) != 1) {
        losses.add(formatted("pixel ratio {:g}", from.ratio));
    }
    if (!from.png && !from.comment.empty()) {
        losses.add("comment");
    }
    if (from.fields != kFullFrame) {
        losses.add(formatted("field code {}", from.fields));
    }
}

/// To the file that `stream` is open on, by its kind. 0 or errno.
int carryInto(const Metadata& from, std::FILE* stream, Losses& losses) {
    PictureNotes notes{};
    if (const int read = pictureNotesRead(stream, &notes); read != 0) {
        return read == 1 ? carryToHeader(from, stream, losses) : errno;
    }
    if (const auto png = readPngChunks(::fileno(stream)); png) {
        return png->error != 0 ? png->error : carryToChunks(from, ::fileno(stream), losses);
    }
    loseAll(from, losses);
    return 0;
}

base::UniqueFile openAs(const std::filesystem::path& path, int flags, const char* mode) {
    base::UniqueFd fd(::open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK));
    base::UniqueFile stream(fd.valid() ? ::fdopen(fd.get(), mode) : nullptr);
    if (stream) {
        static_cast<void>(fd.release());
    }
    return stream;
}

} // namespace

std::vector<std::string> textsOf(const Metadata& metadata) {
    Losses losses;
    if (metadata.png) {
        losses.addPngOnly(*metadata.png);
    }
    loseAll(metadata, losses);
    return losses.take();
}

bool mayBePicture(const std::filesystem::path& path) {
    const base::UniqueFile stream = openAs(path, O_RDONLY, "r");
    if (!stream) {
        return errno != ENOENT && errno != ELOOP;
    }
    PictureNotes notes{};
    return pictureNotesRead(stream.get(), &notes) == 1 ||
           readPngChunks(::fileno(stream.get())).has_value();
}

Outcome<Metadata> readMetadata(const std::filesystem::path& path) {
    Metadata found;
    const base::UniqueFile stream = openAs(path, O_RDONLY, "r");
    if (!stream) {
        return Problem{ExitCode::Failed, std::strerror(errno)};
    }
    PictureNotes notes{};
    const int read = pictureNotesRead(stream.get(), &notes);
    if (read < 0) {
        return Problem{ExitCode::Failed, std::strerror(errno)};
    }
    if (read == 1) {
        found.ratio = notes.ratio;
        found.fields = notes.fields;
        found.comment = notes.comment;
        return found;
    }
    found.png = readPngChunks(::fileno(stream.get()));
    if (found.png && found.png->error != 0) {
        return Problem{ExitCode::Failed, std::strerror(found.png->error)};
    }
    if (found.png) {
        const std::vector<PngChunk>& chunks = found.png->kept;
        const auto ratio = std::ranges::find_if(chunks, isRatio);
        const auto comment = std::ranges::find_if(chunks, isComment);
        found.ratio = ratio != chunks.end() ? ratioOf(*ratio) : 1;
        found.comment = comment != chunks.end() ? comment->data.substr(kCommentKeyword.size()) : "";
    }
    return found;
}

Outcome<std::vector<std::string>> carryMetadata(const Metadata& from,
                                                const std::filesystem::path& to) {
    if (!from.png && from.ratio == 1 && from.fields == kFullFrame && from.comment.empty()) {
        return std::vector<std::string>(); // the values of every new file
    }
    Losses losses;
    if (from.png) {
        losses.addPngOnly(*from.png);
    }
    base::UniqueFile stream = openAs(to, O_RDWR, "r+");
    int error = stream ? carryInto(from, stream.get(), losses) : errno;
    if (stream && std::fclose(stream.release()) != 0 && error == 0) {
        error = errno;
    }
    if (error != 0) {
        return Problem{ExitCode::Failed, std::strerror(error)};
    }
    return losses.take();
}
