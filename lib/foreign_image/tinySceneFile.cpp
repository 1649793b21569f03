// SPDX-License-Identifier: MIT
// The scene file: header, loop over its keywords, and the order in which they are written.
#include "base/uniqueFile.h"
#include "tinySceneInner.h"

#include <charconv>
#include <cstring>
#include <new>
#include <string>

namespace {

/// A number as "%g" (no fixed digits) or with that many digits, the same in every locale.
std::string numberText(float value, int fixedDigits = -1) {
    char digits[64];
    const auto result =
        fixedDigits >= 0 ? std::to_chars(digits, digits + sizeof digits, static_cast<double>(value),
                                         std::chars_format::fixed, fixedDigits)
                         : std::to_chars(digits, digits + sizeof digits, static_cast<double>(value),
                                         std::chars_format::general, 6);
    return {digits, result.ptr};
}

/// True when the scene can be read or written at all; says why not.
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

/// Reads the rest of the header's line into the token buffer; false when the file has ended.
bool readHeaderLine(std::FILE* stream) {
    std::size_t length = 0;
    int c = getc_unlocked(stream);
    while (c == ' ' || c == '\t' || c == '\n') {
        text::lines.next += c == '\n' ? 1 : 0;
        c = getc_unlocked(stream);
    }
    text::lines.token = text::lines.next;
    const bool found = c != EOF;
    for (; c != EOF && c != '\n'; c = getc_unlocked(stream)) {
        if (length < kAnimTokenSize - 1) {
            animTokenLine[length++] = static_cast<char>(c);
        }
    }
    text::lines.next += c == '\n' ? 1 : 0;
    animTokenLine[length] = '\0';
    return found;
}

/// Takes the version from behind the last letter v of the header line, and warns of a newer one.
void takeVersion() {
    if (const char* letter = std::strrchr(animTokenLine, 'v')) {
        animFileVersion = text::parseFloat(letter + 1).value;
    }
    if (animFileVersion > RELEASE_NUMBER) {
        optionPrint("Warning: scene file version %s is later than the dkit release version %s\n",
                    numberText(animFileVersion).c_str(), numberText(RELEASE_NUMBER).c_str());
        optionPrint("Attempt to read: An error may occur...\n");
    }
}

bool readHeader(std::FILE* stream, const char* fileName) {
    animSetLineNumber(1);
    static_cast<void>(in_animToken(stream));
    if (std::strcmp(animToken, "SSCN") != 0) {
        optionPrint("Not a scene file\n");
        return false;
    }
    optionPrint("Reading scene file '%s'.\n", fileName);
    if (!readHeaderLine(stream)) {
        optionPrint("Bad header.\n");
        return false;
    }
    takeVersion();
    return true;
}

/// Reads the keywords of a scene up to the end of the file.
class BodyReader {
  public:
    BodyReader(std::FILE* stream, Scene* scene) : stream_(stream), block_(sceneOpen(scene)) {}

    void read() {
        bool more = in_animToken(stream_) != 0;
        while (more && animToken[0] != '\0') {
            const table::Outcome outcome = readKeyword();
            more = outcome == table::Outcome::Again ||
                   (outcome == table::Outcome::Next && in_animToken(stream_));
        }
    }

  private:
    table::Outcome readKeyword() {
        for (const auto& rows : {sceneFrontRows(), sceneElementRows()}) {
            if (const SceneRow* row = table::find(rows, animToken)) {
                return row->read(stream_, block_);
            }
        }
        const auto outcome = renderReadKeyword(stream_, &block_.record->rendering);
        return outcome ? *outcome : skipUnknown();
    }

    // Kept: Only the first unknown word of a scene file is reported.
    // A reader would expect each to be; one foreign block would flood the user with messages, so
    // the rest, and words at the very end of the file, are passed over. An observer hears of all.
    table::Outcome skipUnknown() {
        animNotify(AnimNoticeKind::UnknownWord, animToken);
        const int following = getc_unlocked(stream_);
        if (following == EOF) {
            return table::Outcome::EndOfFile;
        }
        std::ungetc(following, stream_);
        if (!reported_) {
            optionPrint("SceneReadAsciiAnimation: error, unknown animToken '%s'.\n", animToken);
            reported_ = true;
        }
        return table::Outcome::Next;
    }

    std::FILE* stream_;
    SceneBlock block_;
    bool reported_ = false;
};

void writeScene(std::FILE* stream, const char* headerText, float version, const Scene& scene) {
    text::putWord(stream, "SSCN");
    animWriteNewLine(stream);
    text::put(stream, headerText != nullptr ? headerText : "");
    text::put(stream, " v");
    text::putWord(stream, numberText(version, 2));
    animWriteNewLine(stream);
    animWriteNewLine(stream);
    block::write(stream, sceneFrontRows(), scene);
    renderWriteAsciiAnimation(stream, scene.rendering);
    block::write(stream, sceneElementRows(), scene);
    sceneWriteLists(stream, scene);
    animWriteNewLine(stream);
}

} // namespace

int sceneWriteAsciiAnimation(const char* headerText, float version, const Scene* scene) {
    if (!hasName(scene)) {
        return 0;
    }
    const std::string fileName = std::string(scene->name) + ".scn";
    base::UniqueFile file = base::openFile(fileName.c_str(), 'w');
    if (file == nullptr) {
        // Kept: The writer's complaint about a file that it cannot open has no line end.
        // A reader would expect it to look like the reader's, with quotes, full stop and newline.
        // Programs that scan the toolkit's messages tell the two apart by it.
        optionPrint("Unable to open file %s", fileName.c_str());
        return 0;
    }
    // Kept: The message about saving names the scene without its extension.
    // A reader would expect the name of the file, as in the message about reading. Logs are
    // searched for both as they are.
    optionPrint("Saving scene file '%s'.\n", scene->name);
    incIndent(0);
    writeScene(file.get(), headerText, version, *scene);
    const bool clean = std::fflush(file.get()) == 0 && std::ferror(file.get()) == 0;
    const bool closed = std::fclose(file.release()) == 0;
    setIndentLength(0);
    incIndent(0);
    if (!clean || !closed) {
        optionPrint("Unable to write file '%s'.\n", fileName.c_str());
    }
    return clean && closed ? 1 : 0;
}

int sceneReadAsciiAnimation(Scene* scene) {
    if (!hasName(scene)) {
        return 0;
    }
    const std::string fileName = std::string(scene->name) + ".scn";
    const base::UniqueFile file = base::openFile(fileName.c_str(), 'r');
    if (file == nullptr) {
        optionPrint("Unable to open file '%s'.\n", fileName.c_str());
        return 0;
    }
    if (!readHeader(file.get(), fileName.c_str())) {
        return 0;
    }
    try {
        BodyReader(file.get(), scene).read();
        return 1;
    } catch (const std::bad_alloc&) {
        optionPrint("Out of memory while reading file '%s'.\n", fileName.c_str());
        return 0;
    }
}
