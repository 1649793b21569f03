// SPDX-License-Identifier: MIT
// The body of the binary flavour: the fields of a prototype, in its order
// (docs/toolkit-formats.md).
#include "file/tinyFileBinary.h"
#include "tinyFile.h"
#include "tinySoftType.h"
#include "tinySplineInner.h"

#include <algorithm>

namespace {

constexpr int kSplineSlot = 8;
constexpr int kPointSlot = 9;

/// The line numbers of this module in the two messages about a token.
constexpr int kReaderLine = 412;
constexpr std::int16_t kWriterLine = 298;

/// The tokens of a list without its closing 0.
std::span<const std::int16_t> tokensOf(const Prototype& prototype, int slot) {
    if (prototype.lists[slot] == nullptr || prototype.lengths[slot] < 1) {
        return {};
    }
    const std::span all(prototype.lists[slot], static_cast<std::size_t>(prototype.lengths[slot]));
    return {all.begin(), std::ranges::find(all, 0)};
}

/// One field of a record.
template <typename Record>
struct Field {
    std::int16_t token;
    bool (*read)(std::FILE*, Record&, const Prototype&); ///< false when the file ends too early
    void (*write)(std::FILE*, const Record&, const Prototype&);
};

/// A field of several members in a row.
template <typename Record, auto... Members>
constexpr Field<Record> plainField(std::int16_t token) {
    return {token,
            [](std::FILE* stream, Record& record, const Prototype&) {
                return (binary::read(stream, record.*Members) && ...);
            },
            [](std::FILE* stream, const Record& record, const Prototype&) {
                (binary::write(stream, record.*Members), ...);
            }};
}

template <typename Record>
const Field<Record>* fieldOf(std::span<const Field<Record>> fields, std::int16_t token) {
    const auto found = std::ranges::find(fields, token, &Field<Record>::token);
    return found == fields.end() ? nullptr : &*found;
}

template <typename Record>
void writeFields(std::FILE* stream, const Record& record, std::span<const Field<Record>> fields,
                 const Prototype& prototype, int slot) {
    for (const std::int16_t token : tokensOf(prototype, slot)) {
        if (const auto* field = fieldOf(fields, token); field != nullptr) {
            field->write(stream, record, prototype);
        } else {
            optionPrint("Error: %s: %hd: illegal token: %hd\n", "tinySpline", kWriterLine, token);
        }
    }
}

/// The fields of a prototype's list, in its order. Unknown tokens are reported here, once for the
/// list: a field without a length can only be skipped as no bytes.
template <typename Record>
class FieldList {
  public:
    FieldList(std::FILE* stream, std::span<const Field<Record>> fields, const Prototype& prototype,
              int slot)
        : prototype_(prototype) {
        for (const std::int16_t token : tokensOf(prototype, slot)) {
            const auto* field = fieldOf(fields, token);
            if (field == nullptr) {
                optionPrint("Error: %s %d): illegal token: %hd\n", "tinySpline", kReaderLine,
                            token);
                binary::reportToken(stream, token);
            } else {
                complete_ = complete_ && fields_.push(field);
            }
        }
    }

    /// True when a record has no bytes in the file.
    [[nodiscard]] bool empty() const { return fields_.empty(); }

    bool read(std::FILE* stream, Record& record) const {
        return complete_ && std::ranges::all_of(fields_.elements(), [&](const auto* field) {
                   return field->read(stream, record, prototype_);
               });
    }

  private:
    const Prototype& prototype_;
    GrowingArray<const Field<Record>*> fields_;
    bool complete_ = true; ///< false when out of memory
};

// --- Points --------------------------------------------------------------------------------------

constexpr Field<SplineKey> kPointFields[] = {
    plainField<SplineKey, &SplineKey::previous>(1),
    plainField<SplineKey, &SplineKey::position>(2),
    plainField<SplineKey, &SplineKey::next>(3),
    plainField<SplineKey, &SplineKey::constraint>(4),
    plainField<SplineKey, &SplineKey::segment>(5),
    plainField<SplineKey, &SplineKey::flags>(6),
};

/// Reads the points. The record keeps as many as it can count; the others are skipped.
bool readPoints(std::FILE* stream, Spline& spline, const Prototype& prototype) {
    const std::int64_t place = std::ftell(stream);
    std::int16_t stored = 0;
    if (!binary::read(stream, stored)) {
        return false;
    }
    const std::size_t count = static_cast<std::uint16_t>(stored);
    const FieldList<SplineKey> list(stream, kPointFields, prototype, kPointSlot);
    GrowingArray<SplineKey> keys;
    bool whole = true;
    for (std::size_t i = 0; i < count && whole && !list.empty(); ++i) {
        SplineKey key = {};
        whole = list.read(stream, key) && (i >= kMostSplineKeys || keys.push(key));
    }
    if (count > kMostSplineKeys) {
        notice::atByte(AnimNoticeKind::Cut, "", place, "%zu points, at most %zu are kept", count,
                       kMostSplineKeys);
    } else if (count != 0 && list.empty()) {
        notice::atByte(AnimNoticeKind::Missing, "", place, "%zu point%s announced, without a field",
                       count, notice::plural(static_cast<std::int64_t>(count)));
    }
    splineTakeKeys(spline, keys);
    return whole;
}

void writePoints(std::FILE* stream, const Spline& spline, const Prototype& prototype) {
    const auto keys = splineKeys(spline);
    binary::write(stream, static_cast<std::int16_t>(keys.size()));
    for (const SplineKey& key : keys) {
        writeFields<SplineKey>(stream, key, kPointFields, prototype, kPointSlot);
    }
}

// --- Splines -------------------------------------------------------------------------------------

bool readName(std::FILE* stream, Spline& spline, const Prototype& /*prototype*/) {
    const std::int64_t place = notice::wanted() ? std::ftell(stream) : 0;
    splineTakeName(spline, stringReadBinary(stream));
    if (notice::wanted() && std::ftell(stream) - place > std::int64_t{kFileStringSize}) {
        notice::atByte(AnimNoticeKind::Cut, "", place, "at most %zu characters are kept",
                       kFileStringSize - 1);
    }
    return std::feof(stream) == 0 && std::ferror(stream) == 0;
}

void writeName(std::FILE* stream, const Spline& spline, const Prototype& /*prototype*/) {
    stringWriteBinary(stream, spline.name);
    binary::reportLongName(spline.name);
}

bool readType(std::FILE* stream, Spline& spline, const Prototype& /*prototype*/) {
    std::uint32_t type = 0;
    const bool whole = binary::read(stream, type);
    spline.type = static_cast<std::int32_t>(type);
    return whole;
}

void writeType(std::FILE* stream, const Spline& spline, const Prototype& /*prototype*/) {
    binary::write(stream, static_cast<std::uint32_t>(spline.type));
}

constexpr Field<Spline> kSplineFields[] = {
    {1, readName, writeName},
    {2, readType, writeType},
    plainField<Spline, &Spline::close, &Spline::phantom>(3),
    plainField<Spline, &Spline::tension>(4),
    plainField<Spline, &Spline::step>(5),
    plainField<Spline, &Spline::constraint, &Spline::segment>(6),
    {7, readPoints, writePoints},
};

/// The given prototype, or the built-in one, which `owned` then holds.
const Prototype* prototypeOr(const Prototype* given, UniquePrototype& owned) {
    if (given == nullptr) {
        Prototype* made = nullptr;
        prototypeInitSpline(&made, 1);
        owned.reset(made);
    }
    return given != nullptr ? given : owned.get();
}

} // namespace

bool splineIsOnlyAName(const Prototype& prototype) {
    int fields = 0;
    for (const std::int16_t token : tokensOf(prototype, kSplineSlot)) {
        fields += fieldOf<Spline>(kSplineFields, token) != nullptr ? 1 : 0;
    }
    const auto tokens = tokensOf(prototype, kSplineSlot);
    return fields == 1 && std::ranges::find(tokens, kSplineFields[0].token) != tokens.end();
}

int splineWriteBinary(std::FILE* stream, const Spline* spline, const Prototype* prototype) {
    const notice::Call call("write");
    UniquePrototype owned;
    const Prototype* used = prototypeOr(prototype, owned);
    if (spline == nullptr || used == nullptr) {
        return 0;
    }
    if (notice::wanted()) {
        splineReportSceneMembers(*spline);
    }
    writeFields<Spline>(stream, *spline, kSplineFields, *used, kSplineSlot);
    return 1;
}

Spline* splineReadBinary(std::FILE* stream, const Prototype* prototype) {
    const notice::Call call;
    UniquePrototype owned;
    const Prototype* used = prototypeOr(prototype, owned);
    UniqueSpline spline(splineAllocate());
    if (used == nullptr || spline == nullptr) {
        return nullptr;
    }
    const FieldList<Spline> list(stream, kSplineFields, *used, kSplineSlot);
    const bool whole = !list.empty() && list.read(stream, *spline);
    return notice::Call::good(stream) && whole ? spline.release() : nullptr;
}
