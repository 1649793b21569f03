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

/// Writes to standard output until a failure, which is reported once.
class Output {
  public:
    void write(std::string_view text) {
        if (exit_ == ExitCode::Done) {
            exit_ = say(text);
        }
    }
    [[nodiscard]] ExitCode exit() const { return exit_; }

  private:
    ExitCode exit_ = ExitCode::Done;
};

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
ExitCode showOne(const std::string& file, const DriverOptions& drivers, JsonWriter* json,
                 Output& output) {
    const auto info = describeFile(file, drivers);
    const tdr::InterruptGuard::Pause nothingToCleanUp; // a large scene takes long
    if (json != nullptr) {
        writeJson(*json, file, info);
    } else if (info) {
        output.write(textOf(file, *info));
    }
    if (!info) {
        return fail(info.failure());
    }
    return info->damage.empty() ? ExitCode::Done : ExitCode::Failed; // its driver has reported why
}

ExitCode showInfo(const DriverOptions& driverOptions, const InfoOptions& options) {
    ExitCode exit = ExitCode::Done;
    Output output;
    JsonWriter json([&](std::string_view bytes) { output.write(bytes); });
    json.beginArray();
    FileRun run(options.files.size(), options.talk);
    for (const std::string& file : options.files) {
        exit = worse(exit, run.workOn(file, [&] {
            return showOne(file, driverOptions, options.json ? &json : nullptr, output);
        }));
    }
    json.end();
    if (options.json) {
        json.finish();
    }
    return worse(exit, output.exit());
}

} // namespace

void addInfo(Arguments& arguments, Command& command) {
    auto options = std::make_shared<InfoOptions>();
    arguments.value("files", "FILE", options->files, "Files to describe").require();
    arguments.flag("--json", options->json, "Print a JSON array with one object a file");
    addTalkOptions(arguments, options->talk.quiet, options->talk.verbose);
    arguments.run([&command, options] { command.exit = showInfo(command.drivers, *options); });
}
