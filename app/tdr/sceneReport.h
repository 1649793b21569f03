// SPDX-License-Identifier: MIT
// What the file toolkit says while it reads a scene file: its messages, and its notices of words
// that it does not know or had to cut.
#pragma once

#include "tinyUtils.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// One message, or one notice with its line.
struct SceneRemark {
    std::optional<AnimNoticeKind> kind; ///< none: a message of the toolkit, without its line end
    std::int64_t line;                  ///< of a notice, from 1
    std::string text;                   ///< the message, or the word of the notice; valid UTF-8
};

struct SceneReport {
    /// Remarks kept of one file; a file of nonsense has one for every word.
    static constexpr std::size_t kMostRemarks = 1000;

    std::vector<SceneRemark> remarks; ///< in the order in which they came
    std::size_t dropped = 0;          ///< remarks beyond those
    std::array<std::size_t, kAnimNoticeKinds> notices =
        {};                 ///< number of each AnimNoticeKind, all of them
    std::size_t errors = 0; ///< messages that begin with "Error"

    void add(SceneRemark remark);

    /// Notices of this kind.
    [[nodiscard]] std::size_t count(AnimNoticeKind kind) const {
        return notices[static_cast<std::size_t>(kind)];
    }

    /// True when everything in the file was understood and kept.
    [[nodiscard]] bool clean() const;

    /// "2 unknown words, 1 cut, 0 missing".
    [[nodiscard]] std::string summary() const;
};

/// "unknown word", "cut", "missing" ...
[[nodiscard]] const char* nameOf(AnimNoticeKind kind);

/// While it lives, the toolkit's messages and notices go into a report and nowhere else. One at a
/// time, as the toolkit's settings are the process's.
class SceneListener {
  public:
    explicit SceneListener(SceneReport& report);
    ~SceneListener();
    SceneListener(const SceneListener&) = delete;
    SceneListener& operator=(const SceneListener&) = delete;

  private:
    struct Closer {
        void operator()(std::FILE* stream) const { std::fclose(stream); }
    };

    std::unique_ptr<std::FILE, Closer> stream_;
};
