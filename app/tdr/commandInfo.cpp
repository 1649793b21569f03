// SPDX-License-Identifier: MIT
// tdr info FILE...: what a file is.
#include "console.h"
#include "fileKinds.h"
#include "pictureFile.h"
#include "subcommands.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <fmt/format.h>

namespace {

using Json = nlohmann::ordered_json;

struct InfoOptions {
    std::vector<std::string> files;
    bool json = false;
};

const FileKind& kindOf(const std::filesystem::path& file) {
    const auto kinds = fileKinds();
    return *std::ranges::find_if(kinds,
                                 [&](const FileKind& kind) { return kind.recognises(file); });
}

std::string textOf(const std::string& file, const FileKind& kind, const FileInfo& info) {
    std::string text = fmt::format("{}: {}\n", printable(file), kind.name);
    for (const auto& [label, value] : info.rows) {
        text += fmt::format("  {:<8}  {}\n", label, value);
    }
    return text;
}

Json jsonOf(const std::string& file, const FileKind& kind, const FileInfo& info) {
    Json json = {{"file", file}, {"kind", kind.name}};
    json.update(info.json);
    return json;
}

/// Texts from files and drivers may be no UTF-8; such bytes are replaced.
std::string dump(const Json& json) {
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

ExitCode showInfo(const DriverOptions& driverOptions, const InfoOptions& options) {
    ExitCode exit = ExitCode::Done;
    Json all = Json::array();
    std::string text;
    for (const std::string& file : options.files) {
        DriverSet drivers(driverOptions);
        const auto readable = checkReadable(file);
        const FileKind& kind = kindOf(file);
        const auto info = readable ? kind.describe(file, drivers) : readable.problem();
        if (info) {
            text += textOf(file, kind, *info);
            all.push_back(jsonOf(file, kind, *info));
        } else {
            exit = worse(exit, complain(info.problem()));
            all.push_back({{"file", file}, {"error", info.problem().text}});
        }
    }
    return worse(exit, say(options.json ? dump(all) : text));
}

} // namespace

void addInfo(CLI::App& app, Command& command) {
    auto* sub = app.add_subcommand("info", "Tell what files are: who reads them, size, format");
    auto options = std::make_shared<InfoOptions>();
    sub->add_option("files", options->files, "Files to describe")->required()->type_name("FILE");
    sub->add_flag("--json", options->json, "Print a JSON array with one object a file");
    sub->callback([&command, options] { command.exit = showInfo(command.drivers, *options); });
}
