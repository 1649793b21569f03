// SPDX-License-Identifier: MIT
#include "toolkitPicture.h"

#include "base/byteOrder.h"
#include "files/toolkitMessages.h"

#include <array>
#include <cerrno>
#include <utility>

namespace {

using Found = Outcome<std::optional<ToolkitPicture>>;

/// The toolkit's messages about one file, without its name.
class Said {
  public:
    void add(std::string_view message) {
        const std::string_view text = message.substr(0, message.find('\n'));
        if (text.starts_with("Warning, ")) {
            warning_ = text.substr(sizeof "Warning, " - 1);
        } else if (const auto at = text.find("'' "); at != std::string_view::npos) {
            problem_ = text.substr(at + sizeof "'' " - 1);
            problem_.pop_back(); // the full stop
        }
    }
    [[nodiscard]] const std::string& warning() const { return warning_; }
    [[nodiscard]] const std::string& problem() const { return problem_; }

  private:
    std::string warning_;
    std::string problem_;
};

/// 1, 0 when the file is neither a picture nor a matte, -1 when its header is refused.
int readHeader(ToolkitPicture& file) {
    ChannelPacket* chain = nullptr;
    const int picture = pictureReadHeader(file.stream.get(), "", &file.picture, &chain);
    file.chain.reset(chain);
    if (picture != 0) {
        return picture;
    }
    std::rewind(file.stream.get());
    file.matte.reset(tagAllocate());
    if (file.matte == nullptr) {
        throw std::bad_alloc();
    }
    const int matte = tagReadHeader(file.stream.get(), "", file.matte.get());
    file.picture.width = file.matte->width;
    file.picture.height = file.matte->height;
    return matte;
}

/// True for a file that begins like one of the toolkit's but ends before it says which.
bool endsBeforeItsKind(std::FILE* stream) {
    std::array<std::uint8_t, kFileHeaderSize + 4> head{};
    std::rewind(stream);
    const std::size_t got = std::fread(head.data(), 1, head.size(), stream);
    return got >= 4 && got < head.size() && base::loadBe32(head.data()) == kFileMagic;
}

Problem damaged(const std::string& name, const std::string& why) {
    return {ExitCode::Failed, name + ": " + why, Cause::Damaged};
}

} // namespace

bool hasChannels(const ChannelPacket* chain) {
    while (chain != nullptr && (chain->channels & 0xF0U) == 0) {
        chain = chain->next;
    }
    return chain != nullptr;
}

Found openToolkitPicture(const std::string& name, base::UniqueFd file) {
    ToolkitPicture opened;
    opened.stream.reset(::fdopen(file.get(), "r"));
    if (opened.stream == nullptr) {
        return problemWith(name, errno);
    }
    (void)file.release();
    if (pictureNotesRead(opened.stream.get(), &opened.notes) < 0) {
        return problemWith(name, errno);
    }
    std::rewind(opened.stream.get());
    Said said;
    int read = 0;
    {
        const ToolkitMessages messages([&said](std::string_view message) { said.add(message); });
        read = readHeader(opened);
    }
    if (read < 0) {
        return damaged(name, said.problem());
    }
    if (read == 0) {
        return endsBeforeItsKind(opened.stream.get())
                   ? Found(damaged(name, "ends inside its header"))
                   : Found(std::nullopt);
    }
    opened.warning = said.warning();
    return std::optional(std::move(opened));
}
