// SPDX-License-Identifier: MIT
// User-data blocks: a quoted tag, a size, and the bytes as hexadecimal numbers in braces.
#include "tinyFile.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <limits>
#include <string_view>

namespace {

constexpr std::int32_t kBytesPerRow = 24;

/// One word between blanks; what does not fit is consumed and dropped. Empty at end of file.
class Word {
  public:
    explicit Word(std::FILE* stream) {
        int c = std::getc(stream);
        while (std::isspace(c) != 0) {
            c = std::getc(stream);
        }
        for (; c != EOF && std::isspace(c) == 0; c = std::getc(stream)) {
            if (length_ < sizeof text_ - 1) {
                text_[length_++] = static_cast<char>(c);
            }
        }
    }

    [[nodiscard]] std::string_view text() const { return {text_, length_}; }

    /// The decimal number that the word begins with, cut to 32 bits; 0 for any other word.
    [[nodiscard]] std::int32_t number() const {
        using Limits = std::numeric_limits<std::int32_t>;
        const long value = std::strtol(text_, nullptr, 10);
        return static_cast<std::int32_t>(std::clamp<long>(value, Limits::min(), Limits::max()));
    }

  private:
    char text_[kFileStringSize] = {};
    std::size_t length_ = 0;
};

/// Bytes that grow only as the file yields them, whatever count it claims.
class GrowingBytes {
  public:
    [[nodiscard]] bool append(std::uint8_t byte) {
        if (size_ == capacity_ && !grow()) {
            return false;
        }
        bytes_.get()[size_++] = byte;
        return true;
    }
    void clear() { size_ = 0; }

    void giveTo(UserData* record) {
        record->size = static_cast<std::int32_t>(size_);
        record->data = size_ > 0 ? bytes_.release() : nullptr;
    }

  private:
    bool grow() {
        const std::size_t capacity = capacity_ == 0 ? 64 : capacity_ * 2;
        void* larger = std::realloc(bytes_.get(), capacity);
        if (larger == nullptr) {
            return false;
        }
        static_cast<void>(bytes_.release());
        bytes_.reset(static_cast<std::uint8_t*>(larger));
        capacity_ = capacity;
        return true;
    }

    std::unique_ptr<std::uint8_t, MallocDisposer> bytes_;
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
};

void readHexBytes(std::FILE* stream, std::int32_t count, GrowingBytes* bytes) {
    bytes->clear();
    unsigned value = 0;
    for (std::int32_t i = 0; i < count; ++i) {
        if (std::fscanf(stream, "%x", &value) != 1 ||
            !bytes->append(static_cast<std::uint8_t>(value))) {
            return;
        }
    }
}

} // namespace

void userDataDispose(UserData** record) {
    if (record != nullptr && *record != nullptr) {
        std::free((*record)->data);
        std::free(*record);
        *record = nullptr;
    }
}

int userDataWriteAscii(std::FILE* stream, const UserData* record, const char* indent) {
    const std::int32_t size = record->data != nullptr ? std::max(record->size, 0) : 0;
    const char* tag = record->tag;
    std::fprintf(stream, "\n%suserData \"%c%c%c%c\"\n", indent, tag[0], tag[1], tag[2], tag[3]);
    std::fprintf(stream, "%ssize %d\n", indent, size);
    std::fprintf(stream, "%s{\n", indent);
    // Kept: The rows of bytes in a user-data block begin with a tab alone.
    // A reader would expect the indentation of the lines round them; it is not repeated there, and
    // files are compared byte by byte.
    for (std::int32_t i = 0; i < size; ++i) {
        const bool rowBegins = i % kBytesPerRow == 0;
        const bool rowEnds = i % kBytesPerRow == kBytesPerRow - 1 || i == size - 1;
        std::fprintf(stream, "%s%02x %s", rowBegins ? "\t" : "", record->data[i],
                     rowEnds ? "\n" : "");
    }
    return std::fprintf(stream, "%s}\n", indent);
}

UserData* userDataReadAscii(std::FILE* stream) {
    const MallocString tag(stringReadAscii(stream));
    std::unique_ptr<UserData, UserDataDisposer> record(
        static_cast<UserData*>(std::calloc(1, sizeof(UserData))));
    if (tag == nullptr || record == nullptr) {
        return nullptr;
    }
    std::memcpy(record->tag, tag.get(), strnlen(tag.get(), sizeof record->tag));
    GrowingBytes bytes;
    std::int32_t count = 0;
    for (Word word(stream); !word.text().empty() && word.text() != "}"; word = Word(stream)) {
        if (word.text() == "size") {
            count = Word(stream).number();
        } else if (word.text() == "{") {
            readHexBytes(stream, count, &bytes);
        }
    }
    bytes.giveTo(record.get());
    return record.release();
}
