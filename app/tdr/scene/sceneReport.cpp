// SPDX-License-Identifier: MIT
#include "sceneReport.h"

#include "output/formatted.h"
#include "output/utf8Text.h"
#include "sceneWords.h"

#include <algorithm>
#include <iterator>
#include <new>
#include <span>
#include <utility>

namespace {

/// An unknown word on the line of the last one, or on the next, has the same cause: a reader that
/// is out of step recognises some words by chance.
constexpr std::int64_t kSameCause = 1;

/// The phrase for notices of one kind: its name, the word in quotes, the detail between two texts.
struct Phrase {
    const char* one;     ///< also the beginning of the phrase
    const char* several; ///< the plural; null if the phrase is about the whole file
    const char* member;  ///< in JSON
    const char* before;  ///< of the detail
    const char* after;
};

/// In the order of AnimNoticeKind.
constexpr Phrase kPhrases[] = {
    {"unknown word", "unknown words", "unknownWords", " (", ")"},
    {"cut", "cut", "cut", " (", ")"},
    {"missing", "missing", "missing", ": ", ""},
    {"bad number", "bad numbers", "badNumbers", " (expected: ", ")"},
    {"dropped", "dropped", "dropped", " ", ""},
    {"behind the end", "behind the end", "surplus", ": ", ""},
    {"line ends of another system", nullptr, "lineEnds", " (", ")"},
    {"failed", "failed", "failed", ": ", ""},
    {"unknown word kept", "unknown words kept", "kept", " (", ")"},
    {"version", "versions", "version", ": ", ""},
    {"dropped by the format", "dropped by the format", "byFormat", " ", ""},
    {"rounded number", "rounded numbers", "rounded", " (", ")"},
};
static_assert(std::size(kPhrases) == kAnimNoticeKinds);

std::string phraseOf(const AnimNotice& notice) {
    const Phrase& phrase = kPhrases[static_cast<std::size_t>(notice.kind)];
    std::string word = utf8Text(notice.word);
    std::string detail = utf8Text(notice.detail);
    switch (notice.kind) {
    case AnimNoticeKind::LineEnds:
        return word;
    case AnimNoticeKind::Failed:
        return detail;
    default:
        return formatted("{}{}{}", phrase.one, word.empty() ? "" : " \"" + word + '"',
                         detail.empty() ? "" : phrase.before + detail + phrase.after);
    }
}

std::string placeOf(const AnimNotice& notice) {
    return notice.line > 0    ? formatted("{}", notice.line)
           : notice.byte >= 0 ? formatted("byte {}", notice.byte)
                              : "";
}

bool isLoss(AnimNoticeKind kind) {
    return animSeverity(kind) == AnimSeverity::Loss;
}

/// "2 unknown words", "line ends of another system".
std::string inNumber(std::size_t count, const Phrase& phrase) {
    return phrase.several == nullptr
               ? phrase.one
               : formatted("{} {}", count, count == 1 ? phrase.one : phrase.several);
}

/// "2 unknown words, 1 cut" of the kinds that `counts`.
std::string inNumbers(std::span<const std::size_t> notices, bool (*counts)(AnimNoticeKind)) {
    std::string text;
    for (std::size_t i = 0; i < notices.size(); ++i) {
        if (notices[i] != 0 && counts(static_cast<AnimNoticeKind>(i))) {
            text += (text.empty() ? "" : ", ") + inNumber(notices[i], kPhrases[i]);
        }
    }
    return text;
}

/// No exception may cross the toolkit.
void takeNotice(void* context, const AnimNotice& notice) {
    auto* report = static_cast<SceneReport*>(context);
    try {
        report->add(notice);
    } catch (const std::bad_alloc&) {
        ++report->dropped;
    }
}

} // namespace

std::string lineOf(std::string_view file, const SceneRemark& remark) {
    const bool isByte = remark.place.starts_with('b');
    return formatted("{}:{}{}{} {}", utf8Text(file), isByte ? " " : "", remark.place,
                     remark.place.empty() ? "" : ":", remark.text);
}

void SceneReport::add(const AnimNotice& notice) {
    ++notices[static_cast<std::size_t>(notice.kind)];
    if (notice.kind == AnimNoticeKind::Failed) {
        failure = phraseOf(notice) + (notice.line > 0    ? formatted(" (line {})", notice.line)
                                      : notice.byte >= 0 ? formatted(" (byte {})", notice.byte)
                                                         : "");
        return;
    }
    const bool unknown = notice.kind == AnimNoticeKind::UnknownWord && notice.line > 0;
    if (unknown && !remarks.empty() && (notice.follows || notice.line - runEnd_ <= kSameCause)) {
        extendRun(notice.line);
        return;
    }
    const std::size_t droppedBefore = dropped;
    const bool isGuessed = remarks.size() < kMostRemarks && notice.detail[0] == '\0' &&
                           (unknown || notice.kind == AnimNoticeKind::Kept);
    append(animSeverity(notice.kind), placeOf(notice),
           phraseOf(notice) + (isGuessed ? hintFor(notice.word) : ""));
    run_ = 0;
    runEnd_ = unknown && dropped == droppedBefore ? notice.line : kNoRun;
}

void SceneReport::addMessage(std::string_view message) {
    if (message.starts_with("Warning")) {
        append(AnimSeverity::Note, "", utf8Text(message.substr(0, message.find('\n'))));
    }
}

/// Words that a reader skips after an unknown word have the same cause.
void SceneReport::extendRun(std::int64_t line) {
    SceneRemark& last = remarks.back();
    runEnd_ = line;
    if (run_++ == 0) {
        beforeRun_ = last.text;
    }
    const std::string end = formatted("{}", line);
    last.text = formatted("{} and {} behind it{}", beforeRun_, counted(run_, "word"),
                          last.place == end ? "" : ", up to line " + end);
}

void SceneReport::append(AnimSeverity severity, std::string place, std::string text) {
    SceneRemark* last = remarks.empty() ? nullptr : &remarks.back();
    if (last != nullptr && !place.empty() && last->place == place && last->parts < kMostParts) {
        if (last->text.ends_with(text)) {
            return; // the same once more, for the next of several equal rows
        }
        ++last->parts;
        last->severity = std::min(last->severity, severity);
        last->text += "; " + text;
    } else if (remarks.size() < kMostRemarks) {
        remarks.push_back({severity, std::move(place), std::move(text)});
    } else {
        ++dropped;
    }
}

void SceneReport::rename(const tdr::FileNames& names) {
    failure = names.in(failure);
    for (SceneRemark& remark : remarks) {
        remark.text = names.in(remark.text);
    }
}

std::string SceneReport::losses() const {
    return inNumbers(notices, isLoss);
}

std::string SceneReport::changes() const {
    return inNumbers(notices, [](AnimNoticeKind kind) {
        return kind == AnimNoticeKind::ByFormat || kind == AnimNoticeKind::Rounded;
    });
}

std::string SceneReport::verdict() const {
    const std::string lost = losses();
    const std::string changed = changes();
    return !lost.empty()      ? lost
           : !changed.empty() ? "everything was read that the format keeps: " + changed
                              : "everything was read";
}

std::string textOf(std::string_view file, const SceneReport& report) {
    const std::string name = utf8Text(file);
    std::string text;
    for (const SceneRemark& remark : report.remarks) {
        text += lineOf(file, remark) + '\n';
    }
    if (report.dropped != 0) {
        text += formatted("{}: {}\n", name, counted(report.dropped, "further remark"));
    }
    return text + formatted("{}: {}\n", name, report.verdict());
}

void writeJson(JsonWriter& out, const SceneReport& report) {
    for (std::size_t i = 0; i < report.notices.size(); ++i) {
        if (isLoss(static_cast<AnimNoticeKind>(i))) {
            out.member(kPhrases[i].member, report.notices[i]);
        }
    }
}

SceneListener::SceneListener(SceneReport& report)
    : messages_([&report](std::string_view message) { report.addMessage(message); }) {
    animSetObserver(takeNotice, &report);
}

SceneListener::~SceneListener() {
    animSetObserver(nullptr, nullptr);
}
