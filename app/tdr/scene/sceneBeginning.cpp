// SPDX-License-Identifier: MIT
#include "sceneBeginning.h"

#include "base/byteOrder.h"
#include "base/retry.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>
#include <unistd.h>

namespace {

using Type = std::array<char, 4>;

/// The word after the section that begins at `at`: lists, each with a tag, a count and as many
/// tokens, up to the tag 0. None if the file ends before.
std::optional<Type> typeAfterSection(int fd, off_t at) {
    constexpr int kMostLists = 1024; // a file of ours has 20
    const auto readAt = [fd](void* to, std::size_t count, off_t from) {
        return base::retried([&] { return ::pread(fd, to, count, from); }) ==
               static_cast<ssize_t>(count);
    };
    for (int list = 0; list < kMostLists; ++list) {
        std::uint8_t head[4]; // tag, count
        if (!readAt(head, sizeof head, at)) {
            return {};
        }
        if (base::loadBe16(head) == 0) {
            Type type;
            return readAt(type.data(), type.size(), at + 2) ? std::optional(type) : std::nullopt;
        }
        const auto count = static_cast<std::int16_t>(base::loadBe16(head + 2));
        at += 4 + 2 * std::max<off_t>(count, 0);
    }
    return {};
}

} // namespace

bool SceneBeginning::read(int fd) {
    while (!isWhole()) {
        const ssize_t got =
            base::retried([&] { return ::read(fd, bytes_.data() + size_, bytes_.size() - size_); });
        if (got <= 0) {
            return got == 0;
        }
        size_ += static_cast<std::size_t>(got);
    }
    std::copy_n(bytes_.end() - kTypeSize, kTypeSize, contents_.begin());
    if (isBinary() && type() == "PROT") {
        contents_ = typeAfterSection(fd, std::ssize(bytes_)).value_or(contents_);
    }
    return true;
}

bool SceneBeginning::isBinary() const {
    std::uint8_t word[kTypeSize];
    std::memcpy(word, bytes_.data(), sizeof word);
    return base::loadBe32(word) == kFileMagic;
}

bool SceneBeginning::isPicture() const {
    const bool toolkits = type() == "PICT" || type() == "STAG";
    return (isBinary() && toolkits) || first() == "\x89PNG";
}
