// SPDX-License-Identifier: MIT
#include "checkText.h"

#include "output/console.h"
#include "output/formatted.h"

#include <algorithm>
#include <charconv>

namespace {

using Json = JsonWriter::Json;

/// "12" is a line, "byte 96" an offset; no place is neither.
void addPlace(Json& json, const SceneRemark& remark) {
    constexpr std::string_view kByte = "byte ";
    const bool isByte = remark.place.starts_with(kByte);
    const std::string_view digits =
        std::string_view(remark.place).substr(isByte ? kByte.size() : 0);
    std::int64_t number = 0;
    if (std::from_chars(digits.data(), digits.data() + digits.size(), number).ec == std::errc()) {
        json[isByte ? "byte" : "line"] = number;
    }
}

void writeLines(JsonWriter& json, const CheckedLines& lines) {
    json.members({{"lines", lines.count}, {"linesIntact", lines.intact}});
    if (lines.byte && lines.intact < lines.count) {
        json.member("line", lines.intact);
    }
    if (lines.byte) {
        json.member("byte", *lines.byte);
    }
}

/// The place of the first loss belongs to the file, as that of a picture does.
void writeReport(JsonWriter& json, const SceneReport& report) {
    const auto first =
        std::ranges::find(report.remarks, AnimSeverity::Loss, &SceneRemark::severity);
    if (first != report.remarks.end()) {
        Json place = Json::object();
        addPlace(place, *first);
        json.members(place);
    }
    json.key("remarks").beginArray();
    for (const SceneRemark& remark : report.remarks) {
        Json entry = {{"loss", remark.severity == AnimSeverity::Loss}, {"text", remark.text}};
        addPlace(entry, remark);
        json.value(entry);
    }
    json.end();
    json.member("furtherRemarks", report.dropped);
}

} // namespace

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
            writeLines(json, *check->lines);
        }
        if (check->report) {
            writeReport(json, *check->report);
        }
    } else {
        json.members({{"whole", false},
                      {"error", printable(check.failure().text)},
                      {"code", wordOf(check.failure().cause)}});
    }
    json.end();
    json.flush();
}
