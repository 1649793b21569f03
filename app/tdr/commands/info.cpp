// SPDX-License-Identifier: MIT
// tdr info FILE...: describes files.
#include "info/fileInfo.h"
#include "output/fileRun.h"
#include "output/formatted.h"
#include "subcommands.h"
#include "talkOptions.h"
#include "tdr/interruptGuard.h"

namespace {

struct InfoOptions {
    std::vector<std::string> files;
    bool json = false;
    Talk talk;
};

std::string textOf(const std::string& file, const FileInfo& info) {
    std::string text = formatted("{}: {}\n", printable(file), info.kind);
    for (const auto& [label, value] : info.rows()) {
        text += formatted("  {:<8}  {}\n", label, value);
    }
    return text;
}

/// An error has a text, which names the file as messages do, and a code, which is one word.
void writeError(JsonWriter& json, const std::string& text, Cause cause) {
    json.member("error", text);
    json.member("code", wordOf(cause));
}

void writeJson(JsonWriter& json, const std::string& file, const Outcome<FileInfo>& info) {
    json.beginObject();
    json.member("file", file);
    if (!info) {
        writeError(json, info.failure().text, info.failure().cause);
    } else {
        json.member("kind", info->kind);
        info->json(json);
        if (!info->damage.empty()) {
            writeError(json, info->damage, Cause::Damaged);
        }
    }
    json.end();
    json.flush();
}

/// Only one file is in memory at a time: its description is written before the next one is read.
ExitCode showOne(const std::string& file, const DriverOptions& drivers, JsonWriter* json) {
    const auto info = describeFile(file, drivers);
    const tdr::InterruptGuard::Pause nothingToCleanUp; // a large scene takes long
    ExitCode said = ExitCode::Done;
    if (json != nullptr) {
        writeJson(*json, file, info);
    } else if (info) {
        said = say(textOf(file, *info));
    }
    if (!info) {
        return fail(info.failure());
    }
    return info->damage.empty() ? said : ExitCode::Failed; // its driver has reported why
}

ExitCode showInfo(const DriverOptions& driverOptions, const InfoOptions& options) {
    ExitCode exit = ExitCode::Done;
    ExitCode said = ExitCode::Done; // of the array
    JsonWriter json([&](std::string_view bytes) { said = say(bytes); });
    json.beginArray();
    FileRun run(options.files.size(), options.talk);
    for (std::size_t i = 0; i < options.files.size() && resultsAreWanted(); ++i) {
        const std::string& file = options.files[i];
        exit = worse(exit, run.workOn(file, [&] {
            return showOne(file, driverOptions, options.json ? &json : nullptr);
        }));
    }
    json.end();
    if (options.json) {
        json.finish();
    }
    return worse(exit, said);
}

} // namespace

void addInfo(Arguments& arguments, Command& command) {
    auto options = std::make_shared<InfoOptions>();
    arguments.value("files", "FILE", options->files, "Files to describe").require();
    arguments.flag("--json", options->json, "Print a JSON array with one object a file");
    addTalkOptions(arguments, options->talk.quiet, options->talk.verbose);
    arguments.run([&command, options] { command.exit = showInfo(command.drivers, *options); });
}
