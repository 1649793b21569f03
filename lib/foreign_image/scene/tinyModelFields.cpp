// SPDX-License-Identifier: MIT
#include "tinyModelFields.h"

#include "file/tinyUtilsGrow.h"
#include "tinyModelInner.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <memory>

/// Grows only with the bytes of the file, whatever size it claims.
UserData* modelbinary::Reader::userData() {
    std::unique_ptr<UserData, UserDataDisposer> block(newRecords<UserData>(1));
    std::uint8_t tag[sizeof UserData::tag] = {};
    std::uint32_t size = 0;
    failed_ = failed_ || block == nullptr || !binary::readBytes(stream_, tag, sizeof tag) ||
              !binary::read(stream_, size) || size > std::numeric_limits<std::int32_t>::max();
    GrowingArray<std::uint8_t> bytes;
    for (std::uint32_t left = size; left > 0 && !failed_; --left) {
        const int c = getc_unlocked(stream_);
        failed_ = c == EOF || !bytes.push(static_cast<std::uint8_t>(c));
    }
    if (failed_) {
        return nullptr;
    }
    std::memcpy(block->tag, tag, sizeof tag);
    block->size = static_cast<std::int32_t>(size);
    block->data = bytes.release();
    return block.release();
}

namespace {

using modelbinary::Field;
using modelbinary::Reader;
using modelbinary::Writer;

void writeName(Writer& out, const Model& node, const Field&) {
    out.string(node.name);
}
void readName(Reader& in, Model& node) {
    const std::string name = in.string();
    const std::string_view kept = std::string_view(name).substr(0, kFileStringSize - 1);
    if (kept.size() < name.size()) {
        in.report(AnimNoticeKind::Cut, "at most 255 characters are kept");
    }
    std::free(node.name);
    node.name = name.empty() ? nullptr : newRecords<char>(kept.size() + 1);
    if (node.name != nullptr) {
        kept.copy(node.name, kept.size());
    }
}

template <auto Member>
void writeTriple(Writer& out, const Model& node, const Field&) {
    out.floats(node.*Member);
}
template <auto Member>
void readTriple(Reader& in, Model& node) {
    in.floats(node.*Member);
}

void writeTranslation(Writer& out, const Model& node, const Field&) {
    const Vector& fixed = node.translation.fixed;
    out.floats(std::initializer_list<float>{fixed.x, fixed.y, fixed.z});
}
void readTranslation(Reader& in, Model& node) {
    float values[3];
    in.floats(values);
    node.translation.fixed = {values[0], values[1], values[2]};
}

template <auto Member>
void writeNumber(Writer& out, const Model& node, const Field&) {
    out.number(static_cast<std::uint16_t>(node.*Member));
}
template <auto Member>
void readNumber(Reader& in, Model& node) {
    node.*Member = static_cast<std::int16_t>(in.number());
}

/// The word of the field to which a block kept as text belongs.
std::string_view fieldWord(const Opaque& block);

void writeBlocks(Writer& out, const Model& node, const Field& field) {
    std::size_t count = 0;
    for (const Opaque* block = node.contents; block != nullptr; block = block->next) {
        count += fieldWord(*block) == field.word ? 1 : 0;
    }
    out.count(count);
    std::size_t place = 0;
    for (const Opaque* block = node.contents; block != nullptr; block = block->next, ++place) {
        if (fieldWord(*block) == field.word) {
            out.count(place);
            out.string(block->text);
        }
    }
}
void readBlocks(Reader& in, Model&) {
    const std::uint16_t count = in.number();
    for (int i = 0; i < count && in.good(); ++i) {
        const std::uint16_t place = in.number();
        const std::string text = in.string();
        if (in.good()) {
            in.blocks.emplace_back(place, opaqueAllocate(text));
        }
    }
}

void writeSplines(Writer& out, const Model& node, const Field&) {
    if (node.splineCount > 0 && !out.hasSplineLists()) {
        out.fail();
        return;
    }
    out.count(static_cast<std::size_t>(node.splineCount));
    for (std::int32_t i = 0; i < node.splineCount; ++i) {
        out.spline(node.splines[i]);
    }
}
void readSplines(Reader& in, Model& node) {
    const std::uint16_t count = in.number();
    for (int i = 0; i < count && in.good(); ++i) {
        Spline* spline = in.spline();
        if (spline != nullptr && !modelAppend(node.splines, node.splineCount, spline)) {
            splineDispose(&spline);
            in.fail();
        }
    }
}

void writeUserData(Writer& out, const Model& node, const Field&) {
    std::size_t count = 0;
    for (const UserData* block = node.userData; block != nullptr; block = block->next) {
        ++count;
    }
    out.count(count);
    for (const UserData* block = node.userData; block != nullptr; block = block->next) {
        out.userData(*block);
    }
}
void readUserData(Reader& in, Model& node) {
    const std::uint16_t count = in.number();
    UserData** end = &node.userData;
    while (*end != nullptr) {
        end = &(*end)->next;
    }
    for (int i = 0; i < count && in.good(); ++i) {
        *end = in.userData();
        end = *end != nullptr ? &(*end)->next : end;
    }
}

void writeChildren(Writer& out, const Model& node, const Field&) {
    std::size_t count = 0;
    for (const Model* child = node.child; child != nullptr; child = child->next) {
        ++count;
    }
    out.count(count);
}
void readChildren(Reader& in, Model&) {
    in.children = in.number();
}

constexpr Field kFields[] = {
    {"", 1, writeName, readName},
    {"", 12, writeTriple<&Model::scaling>, readTriple<&Model::scaling>},
    {"", 12, writeTriple<&Model::rotation>, readTriple<&Model::rotation>},
    {"", 12, writeTranslation, readTranslation},
    {"mesh", 2, writeBlocks, readBlocks},
    {"patch", 2, writeBlocks, readBlocks},
    {"face", 2, writeBlocks, readBlocks},
    {"", 2, writeSplines, readSplines},
    {"clusters", 2, writeBlocks, readBlocks},
    {"material", 2, writeBlocks, readBlocks},
    {"texture", 2, writeBlocks, readBlocks},
    {"texture3D", 2, writeBlocks, readBlocks},
    {"actor_data", 2, writeBlocks, readBlocks},
    {"", 2, writeUserData, readUserData},
    {"*", 2, writeBlocks, readBlocks}, // blocks of every other word
    {"", 2, writeChildren, readChildren, true},
    {"", 2, writeNumber<&Model::hidden>, readNumber<&Model::hidden>},
    {"", 2, writeNumber<&Model::wireColour>, readNumber<&Model::wireColour>},
    {"", 2, writeNumber<&Model::lineType>, readNumber<&Model::lineType>},
    {"", 2, writeNumber<&Model::selection>, readNumber<&Model::selection>},
};

std::string_view fieldWord(const Opaque& block) {
    const std::string_view word(block.text, opaqueWordLength(&block));
    const bool known = std::any_of(std::begin(kFields), std::end(kFields), [&](const Field& field) {
        return !word.empty() && field.word == word;
    });
    return known ? word : "*";
}

} // namespace

const Field* modelbinary::findField(std::int16_t token) {
    return token >= 1 && token <= std::ssize(kFields) ? &kFields[token - 1] : nullptr;
}
