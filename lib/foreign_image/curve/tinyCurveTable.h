// SPDX-License-Identifier: MIT
// Rows of values that curves can animate: scalars, triples and positions of records with their
// curves in an array `curves`.
#pragma once

#include "file/tinyNotice.h"
#include "text/tinyTable.h"
#include "tinyFcurve.h"
#include "tinyPosition.h"
#include "tinyUtils.h"

#include <cstdint>
#include <cstdio>
#include <string_view>

namespace table {

/// Room for curves in place of plain numbers: they are read, reported and dropped.
template <int Count>
class DroppedCurves {
  public:
    DroppedCurves() = default;
    ~DroppedCurves() {
        for (Fcurve*& curve : curves_) {
            if (curve != nullptr) {
                animNotify(AnimNoticeKind::ByFormat, "CURVE_TYPE", "where only a number is kept");
            }
            fcurveDispose(&curve);
        }
    }
    DroppedCurves(const DroppedCurves&) = delete;
    DroppedCurves& operator=(const DroppedCurves&) = delete;
    [[nodiscard]] Fcurve** place(int index) const { return &curves_[index]; }

  private:
    mutable Fcurve* curves_[Count] = {};
};

/// Reads three plain numbers.
inline Outcome readPlainTriple(std::FILE* stream, float* values) {
    const DroppedCurves<3> dropped;
    return again(value3ReadAsciiAnimation(stream, &values[0], &values[1], &values[2],
                                          dropped.place(0), dropped.place(1), dropped.place(2)));
}

inline void writePlainTriple(std::FILE* stream, const float* values) {
    value3WriteAsciiAnimation(stream, values[0], values[1], values[2], nullptr, nullptr, nullptr);
}

template <typename Draft>
struct CurveRows : Rows<Draft> {
    using Record = RecordOf<Draft>;
    using Present = bool (*)(const Record&);

    /// A number, or the curve `Curve` of the record's array.
    template <auto Member, int Curve>
    static constexpr Row<Draft> scalar(std::string_view word, Present present = nullptr) {
        return {word,
                [](std::FILE* stream, Draft& draft) {
                    Record& record = recordOf(draft);
                    return again(valueReadAsciiAnimation(stream, &(record.*Member),
                                                         &record.curves[Curve], 1));
                },
                [](std::FILE* stream, const Record& record) {
                    valueWriteAsciiAnimation(stream, record.*Member, record.curves[Curve]);
                },
                present};
    }

    /// A number that cannot be animated; a curve in its place is read and dropped.
    template <auto Member>
    static constexpr Row<Draft> plain(std::string_view word) {
        return {word,
                [](std::FILE* stream, Draft& draft) {
                    const DroppedCurves<1> dropped;
                    return again(valueReadAsciiAnimation(stream, &(recordOf(draft).*Member),
                                                         dropped.place(0), 1));
                },
                [](std::FILE* stream, const Record& record) {
                    valueWriteAsciiAnimation(stream, record.*Member, nullptr);
                }};
    }

    /// A channel that is written only if it has a curve; a plain number is dropped.
    template <int Curve>
    static constexpr Row<Draft> curveOnly(std::string_view word) {
        return {word,
                [](std::FILE* stream, Draft& draft) {
                    float dropped = 0.0F;
                    const int result = valueReadAsciiAnimation(stream, &dropped,
                                                               &recordOf(draft).curves[Curve], 1);
                    if (dropped != 0.0F) {
                        animNotify(AnimNoticeKind::ByFormat, "HIDDEN", "a number without a curve");
                    }
                    return again(result);
                },
                [](std::FILE* stream, const Record& record) {
                    valueWriteAsciiAnimation(stream, 0.0F, record.curves[Curve]);
                },
                [](const Record& record) { return record.curves[Curve] != nullptr; }};
    }

    /// A whole number, whose fraction is dropped, or a curve; written if set.
    template <auto Member, int Curve>
    static constexpr Row<Draft> wholeOrCurve(std::string_view word) {
        return {word,
                [](std::FILE* stream, Draft& draft) {
                    Record& record = recordOf(draft);
                    if (!text::Reader::on(stream).value()) {
                        return Outcome::EndOfFile;
                    }
                    if (std::string_view(animToken) == "CURVE_TYPE") {
                        return again(fcurveReadAsciiAnimation(stream, &record.curves[Curve]));
                    }
                    record.*Member = text::toShort(text::toFloat(animToken), animToken);
                    return Outcome::Next;
                },
                [](std::FILE* stream, const Record& record) {
                    valueWriteAsciiAnimation(stream, static_cast<float>(record.*Member),
                                             record.curves[Curve]);
                },
                [](const Record& record) {
                    return record.*Member != 0 || record.curves[Curve] != nullptr;
                }};
    }

    /// Three numbers, or the curve `First` and the two after it.
    template <auto Member, int First>
    static constexpr Row<Draft> triple(std::string_view word) {
        return {word,
                [](std::FILE* stream, Draft& draft) {
                    Record& record = recordOf(draft);
                    return again(tripleRead(stream, record.*Member, &record.curves[First]));
                },
                [](std::FILE* stream, const Record& record) {
                    tripleWrite(stream, record.*Member, &record.curves[First]);
                }};
    }

    /// A position with the curves `Path` (timing), `X` and the two after it.
    template <auto Member, int Path, int X>
    static constexpr Row<Draft> position(std::string_view word, Present present = nullptr) {
        return {word,
                [](std::FILE* stream, Draft& draft) {
                    Record& record = recordOf(draft);
                    return again(positionRead(stream, record.*Member, &record.curves[Path],
                                              &record.curves[X]));
                },
                [](std::FILE* stream, const Record& record) {
                    positionWrite(stream, record.*Member, record.curves[Path], &record.curves[X]);
                },
                present};
    }
};

} // namespace table
