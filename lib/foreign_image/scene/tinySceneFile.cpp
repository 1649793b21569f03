// SPDX-License-Identifier: MIT
// The scene file: header, loop over its keywords, and the order in which they are written.
#include "file/tinyNotice.h"
#include "file/tinyNumberText.h"
#include "text/tinyTextFile.h"
#include "tinyFcurve.h"
#include "tinyModelInner.h"
#include "tinySceneInner.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <new>
#include <string_view>

namespace {

/// True when the scene has a name, so that it can be read or written; otherwise prints why not.
bool hasName(const Scene* scene) {
    if (scene == nullptr) {
        optionPrint("Error, null scene pointer\n");
        return false;
    }
    if (scene->name == nullptr || scene->name[0] == '\0') {
        optionPrint("Error, no scene filename\n");
        return false;
    }
    return true;
}

/// Characters of the header line that a reader keeps.
constexpr std::size_t kMostOfHeader = text::kAnimationStyle.mostOfWord;

/// The first characters of a text, which a zero byte follows.
struct Beginning {
    char text[kMostOfHeader + 1] = "";
    std::size_t size = 0;

    void push(char c) {
        if (size < kMostOfHeader) {
            text[size++] = c;
            text[size] = '\0';
        }
    }
    [[nodiscard]] std::string_view view() const { return {text, size}; }
};

/// What counts of the header line, which may be longer than a word.
struct HeaderLine {
    Beginning text;
    Beginning version;       ///< from the last letter v on; empty without one
    Beginning foreignEnding; ///< from the first carriage return on

    void push(char c) {
        text.push(c);
        version.size = c == 'v' ? 0 : version.size;
        if (c == 'v' || version.size != 0) {
            version.push(c);
        }
        if (c == '\r' || foreignEnding.size != 0) {
            foreignEnding.push(c);
        }
    }
};

/// Reads the header line, without leading blanks; the token becomes its beginning. False at end of
/// file.
bool readHeaderLine(std::FILE* stream, HeaderLine& line) {
    text::Reader& in = text::Reader::on(stream);
    const bool found = in.peek() != EOF;
    for (int c = in.get(); c != EOF && c != '\n'; c = in.get()) {
        line.push(static_cast<char>(c));
    }
    in.set(line.text.view());
    return found;
}

/// Takes the version after the last letter v of the header line, and reports one that affects how
/// the file is read.
void takeVersion(const HeaderLine& line) {
    if (line.version.size != 0) {
        animFileVersion = text::parseFloat(line.version.view().substr(1)).value;
    }
    const NumberText version(animFileVersion);
    if (fcurveKeysHaveNoType(animFileVersion)) {
        notice::atLine(AnimNoticeKind::Version, version.c_str(), text::Reader::wordLine(),
                       "keys end at their FLAG; the header says \"%s\"", animTokenLine);
    }
    if (animFileVersion > RELEASE_NUMBER) {
        optionPrint("Warning: scene file version %s is later than the dkit release version %s\n",
                    version.c_str(), NumberText(RELEASE_NUMBER).c_str());
        optionPrint("Attempt to read: An error may occur...\n");
    }
}

/// The line ends of another system in a text, or null. A newline ended a text with DOS ones.
const char* foreignLineEnds(std::string_view text) {
    const std::size_t at = text.find('\r');
    if (at == text.npos) {
        return nullptr;
    }
    return at + 1 == text.size() ? "DOS line ends" : "old Mac line ends";
}

/// Reports the line ends of another system. With DOS ones the file is read as far as possible, each
/// carriage return as part of its word; a file with old Mac ones has only one line and is refused.
bool lineEndsServe(std::string_view text) {
    const char* foreign = foreignLineEnds(text);
    if (foreign == nullptr) {
        return true;
    }
    notice::lineEnds(foreign);
    if (std::strcmp(foreign, "DOS line ends") == 0) {
        return true;
    }
    notice::Call::fail("it has old Mac line ends");
    return false;
}

bool readHeader(std::FILE* stream, const char* fileName) {
    static_cast<void>(in_animToken(stream));
    if (std::strcmp(animToken, "SSCN") != 0) {
        if (notice::Call::good(stream)) { // otherwise there is another reason
            if (std::strncmp(animToken, "SSCN\r", 5) != 0 || lineEndsServe(animToken)) {
                notice::Call::failAsSaid("not a scene file");
            }
            optionPrint("Not a scene file\n");
        }
        return false;
    }
    optionPrint("Reading scene file '%s'.\n", fileName);
    HeaderLine line;
    if (!readHeaderLine(stream, line)) {
        if (notice::Call::good(stream)) {
            notice::Call::failAsSaid("bad header");
            optionPrint("Bad header.\n");
        }
        return false;
    }
    takeVersion(line);
    return lineEndsServe(line.foreignEnding.view());
}

/// Reads the keywords of a scene up to the end of the file.
class BodyReader {
  public:
    BodyReader(std::FILE* stream, Scene* scene)
        : in_(text::Reader::on(stream)), draft_(sceneOpen(scene)) {}

    void read() {
        bool more = in_.next();
        while (more && !in_.atEnd() && !notice::Call::failed()) {
            const Outcome outcome = readKeyword();
            more = outcome == Outcome::Again || (outcome == Outcome::Next && in_.next());
        }
    }

  private:
    using Outcome = table::Outcome;

    Outcome readKeyword() {
        std::uint64_t* seen = seen_;
        for (const std::span<const SceneRow>& rows : sceneTables()) {
            if (const SceneRow* row = table::find(rows, in_.word())) {
                unknown_.end();
                if (row->write != nullptr) { // the others are elements of lists
                    table::noteRepeated(rows, row, *seen);
                }
                return row->read(in_.stream(), draft_);
            }
            ++seen;
        }
        return skipUnknown();
    }

    // Kept: Only the first unknown word of a scene file is reported.
    // A reader would expect a message for each. The others, and words at the very end of the file,
    // are skipped silently; an observer is told of all.
    Outcome skipUnknown() {
        unknown_.add(animToken);
        const int following = in_.get();
        if (following == EOF) {
            return Outcome::EndOfFile;
        }
        in_.unget(following);
        if (!reported_) {
            optionPrint("SceneReadAsciiAnimation: error, unknown animToken '%s'.\n", animToken);
            reported_ = true;
        }
        return Outcome::Next;
    }

    text::Reader& in_;
    SceneDraft draft_;
    notice::UnknownRun unknown_;
    std::uint64_t seen_[3] = {}; ///< words of the file so far, by table
    bool reported_ = false;
};

/// Writes the rendering block. Always 1.
int renderWriteAsciiAnimation(std::FILE* stream, const Scene& scene) {
    renderReportUnwritten(scene);
    table::write(stream, renderRows(), scene);
    return 1;
}

void writeScene(std::FILE* stream, const char* headerText, float version, const Scene& scene) {
    text::putWord(stream, "SSCN");
    animWriteNewLine(stream);
    text::put(stream, headerText != nullptr ? headerText : "");
    text::put(stream, " v");
    text::putWord(stream, NumberText(version, 2).view());
    animWriteNewLine(stream);
    animWriteNewLine(stream);
    const auto tables = sceneTables();
    table::write(stream, tables[0], scene);
    renderWriteAsciiAnimation(stream, scene);
    table::write(stream, tables[2], scene);
    sceneWriteLists(stream, scene);
    animWriteNewLine(stream);
}

bool hasKeys(const Fcurve* const* curves, int count) {
    return std::any_of(curves, curves + count, [](const Fcurve* curve) {
        return curve != nullptr && curve->keys != nullptr && curve->keyCount > 0;
    });
}

bool hasKeys(const Model& node) {
    for (const ModelShape* shape = node.shapes; shape != nullptr; shape = shape->next) {
        if (hasKeys(&shape->interpolation, 1) || hasKeys(shape->weights, shape->weightCount)) {
            return true;
        }
    }
    return hasKeys(node.curves, kModelCurveCount);
}

bool hasKeys(const Scene& scene) {
    for (const Light* light = scene.lights; light != nullptr; light = light->next) {
        if (hasKeys(light->curves, kLightCurveCount)) {
            return true;
        }
    }
    for (const SceneHierarchy* tree = scene.hierarchies; tree != nullptr; tree = tree->next) {
        for (const Model* node = tree->root; node != nullptr; node = modelNextNode(node)) {
            if (hasKeys(*node)) {
                return true;
            }
        }
    }
    return hasKeys(scene.camera.curves, kCameraCurveCount) ||
           hasKeys(scene.rendering.fadeCurves, kFadeCount);
}

/// True when the text will read back; otherwise sets the reason why the call fails.
bool fits(const char* headerText, float version, const Scene& scene) {
    if (!std::isfinite(version)) {
        notice::Call::fail("the version is not a finite number");
    }
    const float readBack = text::parseFloat(NumberText(version, 2).view()).value;
    if (fcurveKeysHaveNoType(readBack) && hasKeys(scene)) {
        notice::Call::fail("files of version %s have no place for the type of a key",
                           NumberText(version, 2).c_str());
    }
    if (headerText != nullptr && std::strpbrk(headerText, "\n\r") != nullptr) {
        notice::Call::fail("the text of the header has more than one line");
    }
    const std::string_view text = headerText != nullptr ? headerText : "";
    if (text.size() + std::strlen(" v") + NumberText(version, 2).view().size() > kMostOfHeader) {
        notice::Call::fail("the line of the header has more than %zu characters", kMostOfHeader);
    }
    for (const SceneHierarchy* tree = scene.hierarchies; tree != nullptr; tree = tree->next) {
        if (tree->root != nullptr && !modelFitsScene(tree->root)) {
            return false;
        }
    }
    return !notice::Call::failed();
}

} // namespace

int sceneWriteAsciiAnimation(const char* headerText, float version, const Scene* scene) {
    if (!hasName(scene)) {
        return 0;
    }
    const MallocString fileName = fileNameOf(scene->name, ".scn");
    const notice::Call call("write", fileName.get());
    if (!fits(headerText, version, *scene)) {
        return 0;
    }
    textfile::File file = textfile::open(fileName, 'w');
    if (file.stream == nullptr) {
        notice::Call::failAsSaid(notice::reasonOf(errno));
        // Kept: The writer's message about a file that it cannot open has no newline.
        // A reader would expect it to look like the reader's, with quotes, full stop and newline.
        optionPrint("Unable to open file %s", fileName != nullptr ? fileName.get() : "");
        return 0;
    }
    // Kept: The message about saving names the scene without its extension.
    // A reader would expect the name of the file, as in the message about reading.
    optionPrint("Saving scene file '%s'.\n", scene->name);
    incIndent(0);
    writeScene(file.stream.get(), headerText, version, *scene);
    const bool whole = textfile::close(std::move(file));
    setIndentLength(0);
    incIndent(0);
    return whole ? 1 : 0;
}

int sceneReadAsciiAnimation(Scene* scene) {
    if (!hasName(scene)) {
        return 0;
    }
    const MallocString fileName = fileNameOf(scene->name, ".scn");
    const notice::Call call("read", fileName.get());
    text::Reader::setWordLine(0);
    const textfile::File file = textfile::open(fileName, 'r');
    if (file.stream == nullptr) {
        notice::Call::failAsSaid(notice::reasonOf(errno));
        optionPrint("Unable to open file '%s'.\n", fileName != nullptr ? fileName.get() : "");
        return 0;
    }
    animSetLineNumber(1);
    if (!readHeader(file.stream.get(), fileName.get())) {
        return 0;
    }
    try {
        BodyReader(file.stream.get(), scene).read();
    } catch (const std::bad_alloc&) {
        notice::Call::failForMemory();
    }
    return notice::Call::good(file.stream.get()) ? 1 : 0;
}
