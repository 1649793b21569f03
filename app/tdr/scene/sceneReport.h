// SPDX-License-Identifier: MIT
// What the file toolkit reports while it reads or writes a scene file: losses with their places,
// the reason of a failure, and notes on what the form is like.
#pragma once

#include "output/jsonWriter.h"
#include "tinyUtils.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// What is to be said of one place: one cause, with all that came of it there.
struct SceneRemark {
    AnimSeverity severity; ///< the worst of what happened there
    std::string place;     ///< "12" (a line), "byte 96" or empty
    std::string text;      ///< "unknown word "GIZMO""; valid UTF-8 on one line
    std::size_t parts = 1; ///< phrases in `text`
};

/// "a.scn:12: unknown word "GIZMO"".
[[nodiscard]] std::string lineOf(std::string_view file, const SceneRemark& remark);

struct SceneReport {
    /// Remarks kept of one file, and phrases of one remark: a file of nonsense has very many.
    static constexpr std::size_t kMostRemarks = 1000;
    static constexpr std::size_t kMostParts = 6;

    std::vector<SceneRemark> remarks; ///< in the order in which they came
    std::size_t dropped = 0;          ///< notices that found no room there
    std::string failure;              ///< why the toolkit answered its failure, with the place
    std::array<std::size_t, kAnimNoticeKinds> notices = {}; ///< number of each AnimNoticeKind

    void add(const AnimNotice& notice);
    /// A message of the toolkit. Nearly all are notices too and passed over.
    void addMessage(std::string_view message);

    /// True when nothing was lost.
    [[nodiscard]] bool whole() const { return losses().empty(); }

    /// What was lost, in numbers: "2 unknown words, 1 bad number"; empty when nothing was.
    [[nodiscard]] std::string losses() const;

    /// What the form does not keep as it was, by its nature: "12 rounded numbers"; or empty.
    [[nodiscard]] std::string changes() const;

  private:
    void append(AnimSeverity severity, std::string place, std::string text);
    void extendRun(std::int64_t line);

    std::size_t run_ = 0;   ///< words passed over behind the unknown one of the last remark
    std::string beforeRun_; ///< text of the last remark without them
};

/// Writes the number of losses of each kind as members of an object that the writer has begun.
void writeJson(JsonWriter& out, const SceneReport& report);

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
