// SPDX-License-Identifier: MIT
#include "checkText.h"

#include "output/console.h"
#include "output/formatted.h"

#include <algorithm>
#include <charconv>

namespace {

using Json = JsonWriter::Json;

/// "12" is a line, "byte 96" an offset; no place is neither.
DamagePlace placeOf(const SceneRemark& remark) {
    constexpr std::string_view kByte = "byte ";
    const bool isByte = remark.place.starts_with(kByte);
    const std::string_view digits =
        std::string_view(remark.place).substr(isByte ? kByte.size() : 0);
    std::int64_t number = 0;
    DamagePlace place;
    if (std::from_chars(digits.data(), digits.data() + digits.size(), number).ec == std::errc()) {
        (isByte ? place.byte : place.line) = number;
    }
    return place;
}

Json jsonOf(const DamagePlace& place) {
    Json json = Json::object();
    if (place.line) {
        json["line"] = *place.line;
    }
    if (place.byte) {
        json["byte"] = *place.byte;
    }
    return json;
}

void writeRemarks(JsonWriter& json, const SceneReport& report) {
    json.key("remarks").beginArray();
    for (const SceneRemark& remark : report.remarks) {
        Json entry = {{"loss", remark.severity == AnimSeverity::Loss}, {"text", remark.text}};
        entry.update(jsonOf(placeOf(remark)));
        json.value(entry);
    }
    json.end();
    json.member("furtherRemarks", report.dropped);
}

} // namespace

DamagePlace damagePlaceOf(const FileCheck& check) {
    DamagePlace place;
    if (check.lines && check.lines->byte) {
        place.byte = *check.lines->byte;
        if (check.lines->intact < check.lines->count) {
            place.line = check.lines->intact;
        }
    } else if (check.report) {
        const auto& remarks = check.report->remarks;
        const auto first = std::ranges::find(remarks, AnimSeverity::Loss, &SceneRemark::severity);
        return first == remarks.end() ? place : placeOf(*first);
    }
    return place;
}

std::string textOf(const CheckCounts& counts) {
    return formatted("{}: {} whole, {} damaged, {} failed, {} skipped",
                     counted(counts.all(), "file"), counts.whole, counts.damaged, counts.failed,
                     counts.skipped);
}

std::string textOf(const std::string& file, const FileCheck& check) {
    return check.report ? textOf(file, *check.report)
                        : formatted("{}: {}\n", printable(file), check.verdict);
}

void writeJson(JsonWriter& json, const std::string& file, const Outcome<FileCheck>& check) {
    json.beginObject();
    json.member("file", file);
    if (check) {
        json.members({{"kind", check->kind}, {"whole", check->whole}, {"verdict", check->verdict}});
        if (check->lines) {
            json.members({{"lines", check->lines->count}, {"linesIntact", check->lines->intact}});
        }
        json.members(jsonOf(damagePlaceOf(*check)));
        if (check->report) {
            writeRemarks(json, *check->report);
        }
    } else {
        json.members({{"whole", false},
                      {"error", check.failure().text},
                      {"code", wordOf(check.failure().cause)}});
    }
    json.end();
    json.flush();
}
