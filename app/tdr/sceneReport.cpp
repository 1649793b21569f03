// SPDX-License-Identifier: MIT
#include "sceneReport.h"

#include "tinySoftType.h"
#include "utf8Text.h"

#include <fmt/format.h>
#include <string_view>
#include <utility>

namespace {

/// The toolkit prints each message in one write to a stream without a buffer.
ssize_t takeMessage(void* report, const char* bytes, std::size_t size) {
    std::string_view text(bytes, size);
    text.remove_suffix(text.ends_with('\n') ? 1 : 0);
    static_cast<SceneReport*>(report)->add({std::nullopt, 0, utf8Text(text)});
    return static_cast<ssize_t>(size);
}

void takeNotice(void* report, const AnimNotice& notice) {
    static_cast<SceneReport*>(report)->add({notice.kind, notice.line, utf8Text(notice.word)});
}

} // namespace

const char* nameOf(AnimNoticeKind kind) {
    constexpr const char* kNames[kAnimNoticeKinds] = {
        "unknown word",   "cut",       "missing", "bad number", "dropped",
        "behind the end", "line ends", "failed",  "version",    "dropped by the format",
        "rounded"};
    return kNames[static_cast<std::size_t>(kind)];
}

void SceneReport::add(SceneRemark remark) {
    if (remark.kind) {
        ++notices[static_cast<std::size_t>(*remark.kind)];
    } else if (remark.text.starts_with("Error")) {
        ++errors;
    }
    if (remarks.size() < kMostRemarks) {
        remarks.push_back(std::move(remark));
    } else {
        ++dropped;
    }
}

bool SceneReport::clean() const {
    bool lost = errors != 0;
    for (int i = 0; i < kAnimNoticeKinds; ++i) {
        const auto kind = static_cast<AnimNoticeKind>(i);
        lost = lost || (animSeverity(kind) != AnimSeverity::Note && count(kind) != 0);
    }
    return !lost;
}

std::string SceneReport::summary() const {
    const std::size_t unknown = count(AnimNoticeKind::UnknownWord);
    return fmt::format("{} unknown word{}, {} cut, {} missing{}", unknown, unknown == 1 ? "" : "s",
                       count(AnimNoticeKind::Cut), count(AnimNoticeKind::Missing),
                       errors != 0 ? fmt::format(", {} reported as errors", errors) : "");
}

SceneListener::SceneListener(SceneReport& report)
    : stream_(fopencookie(&report, "w", {nullptr, takeMessage, nullptr, nullptr})) {
    if (stream_ != nullptr) {
        std::setvbuf(stream_.get(), nullptr, _IONBF, 0);
    }
    option.stream = stream_.get(); // null: no messages
    animSetObserver(takeNotice, &report);
}

SceneListener::~SceneListener() {
    animSetObserver(nullptr, nullptr);
    optionReset();
}
