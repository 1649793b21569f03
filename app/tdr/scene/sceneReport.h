// SPDX-License-Identifier: MIT
// The reports of the file toolkit while it reads or writes a scene file: losses with their
// positions, the reason of a failure, and notes on the format.
#pragma once

#include "files/toolkitMessages.h"
#include "output/jsonWriter.h"
#include "tdr/driverLink.h"
#include "tinyUtils.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// The report for one position: one cause with all its effects there.
struct SceneRemark {
    AnimSeverity severity; ///< the worst at this position
    std::string place;     ///< "12" (a line), "byte 96" or empty
    std::string text;      ///< "unknown word "GIZMO""; valid UTF-8 on one line
    std::size_t parts = 1; ///< phrases in `text`
};

/// "a.scn:12: unknown word "GIZMO"".
[[nodiscard]] std::string lineOf(std::string_view file, const SceneRemark& remark);

struct SceneReport {
    /// Maximum number of remarks of one file, and of phrases of one remark: a malformed file may
    /// cause very many.
    static constexpr std::size_t kMostRemarks = 1000;
    static constexpr std::size_t kMostParts = 6;

    std::vector<SceneRemark> remarks; ///< in order of arrival
    std::size_t dropped = 0;          ///< notices beyond the limit
    std::string failure;              ///< why the toolkit returned a failure, with the position
    std::array<std::size_t, kAnimNoticeKinds> notices = {}; ///< number of each AnimNoticeKind

    void add(const AnimNotice& notice);
    /// Handles a message of the toolkit. Nearly all are also notices and are ignored here.
    void addMessage(std::string_view message);

    /// Puts the user's name of the file into all texts.
    void rename(const tdr::FileNames& names);

    /// True when nothing was lost.
    [[nodiscard]] bool whole() const { return losses().empty(); }

    /// The number of losses: "2 unknown words, 1 bad number"; empty if there are none.
    [[nodiscard]] std::string losses() const;

    /// "everything was read", or what was not.
    [[nodiscard]] std::string verdict() const;

    /// The number of changes by the format: "12 rounded numbers"; or empty.
    [[nodiscard]] std::string changes() const;

  private:
    void append(AnimSeverity severity, std::string place, std::string text);
    void extendRun(std::int64_t line);

    static constexpr std::int64_t kNoRun = INT64_MIN / 2;

    std::int64_t runEnd_ =
        kNoRun;             ///< line of the last unknown word, if the last remark is about it
    std::size_t run_ = 0;   ///< words skipped after the unknown one of the last remark
    std::string beforeRun_; ///< text of the last remark without them
};

/// A line for each remark and one with the verdict.
[[nodiscard]] std::string textOf(std::string_view file, const SceneReport& report);

/// Writes the number of losses of each kind as members of an object that the caller has begun.
void writeJson(JsonWriter& out, const SceneReport& report);

/// While it exists, the toolkit's messages and notices go only into a report. At most one at a
/// time, because the toolkit's settings are process-wide.
class SceneListener {
  public:
    explicit SceneListener(SceneReport& report);
    ~SceneListener();
    SceneListener(const SceneListener&) = delete;
    SceneListener& operator=(const SceneListener&) = delete;

  private:
    ToolkitMessages messages_;
};
