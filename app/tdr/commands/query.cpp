// SPDX-License-Identifier: MIT
// tdr query DRIVER: the answers to all sixteen queries, as a table.
#include "output/console.h"
#include "output/table.h"
#include "pictures/driverSet.h"
#include "pictures/formatText.h"
#include "subcommands.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <fmt/format.h>
#include <limits>

namespace {

using Text = tdr::Result<std::string>;

/// Formats are queried one by one up to the first missing one, or this limit.
constexpr std::int32_t kMostFormats = 64;

/// Converts an answer to text, or returns its failure.
template <typename T, typename Show>
Text shown(const tdr::Result<T>& answer, Show show) {
    return answer ? Text(show(*answer)) : Text(answer.failure());
}

std::string number(std::int32_t value) {
    return std::to_string(value);
}

std::string quoted(const std::string& text) {
    return '"' + printable(text) + '"';
}

std::string pairText(const tdr::Pair& pair) {
    return fmt::format("{}, {}", pair.first, pair.second);
}

std::string boundsText(const tdr::Bounds& b) {
    return fmt::format("x {}, y {}, width {}, height {}", b.x, b.y, b.width, b.height);
}

std::string namingText(const tdr::FileNaming& naming) {
    return fmt::format("prefix {}, extension {}, number {}, template {}", quoted(naming.prefix),
                       quoted(naming.extension), naming.number, quoted(naming.pattern));
}

std::string cellText(std::int32_t cell) {
    constexpr auto lowest = std::numeric_limits<std::int32_t>::min();
    constexpr auto highest = std::numeric_limits<std::int32_t>::max();
    return number(cell) + (cell == lowest || cell == highest ? " (none set)" : "");
}

std::string currentFormatText(std::int32_t format) {
    return number(format) + (format == -1 ? " (none set)" : "");
}

Text formatsText(tdr::Driver& driver) {
    std::string all;
    for (std::int32_t i = 0; i < kMostFormats; ++i) {
        const auto format = driver.format(i);
        if (!format) {
            return format.failure();
        }
        if (!*format) {
            break;
        }
        all += (i == 0 ? "" : "; ") + fmt::format("{}: {}", i, formatText(**format));
    }
    return all.empty() ? "none" : all;
}

struct QueryRow {
    int code;
    const char* name;
    Text (*ask)(tdr::Driver& driver);
};

constexpr QueryRow kQueries[] = {
    {1024, "access modes", [](auto& d) { return shown(d.accessModes(), accessModesText); }},
    {1025, "vendor name", [](auto& d) { return shown(d.vendorName(), quoted); }},
    {1026, "format count", [](auto& d) { return shown(d.formatCount(), number); }},
    {1027, "current format", [](auto& d) { return shown(d.currentFormat(), currentFormatText); }},
    {1028, "formats", formatsText},
    {1029, "bounds", [](auto& d) { return shown(d.bounds(), boundsText); }},
    {1030, "tiling", [](auto& d) { return shown(d.tiling(), pairText); }},
    {1031, "stamp bounds", [](auto& d) { return shown(d.stampBounds(), pairText); }},
    {1032, "current cell", [](auto& d) { return shown(d.currentCell(), cellText); }},
    {1033, "format name", [](auto& d) { return shown(d.formatName(), quoted); }},
    {1034, "start cell", [](auto& d) { return shown(d.startCell(), cellText); }},
    {1035, "end cell", [](auto& d) { return shown(d.endCell(), cellText); }},
    {1036, "default pre-read command",
     [](auto& d) { return shown(d.defaultPreReadCommand(), quoted); }},
    {1037, "default post-write command",
     [](auto& d) { return shown(d.defaultPostWriteCommand(), quoted); }},
    {1038, "write direction", [](auto& d) { return shown(d.writeDirection(), number); }},
    {1039, "file naming", [](auto& d) { return shown(d.fileNaming(), namingText); }},
};

ExitCode queryDriver(const DriverOptions& options, const std::string& name) {
    const auto program = findDriver(options, name);
    if (!program) {
        return complain(program.problem());
    }
    auto session = startSession(*program, options);
    if (!session) {
        return complain(problemWith(session.failure()));
    }
    ExitCode exit = ExitCode::Done;
    Table table({"CODE", "QUERY", "ANSWER"});
    for (const QueryRow& row : kQueries) {
        const Text answer = row.ask(session->driver);
        if (!answer && !session->driver.alive()) {
            return complain(problemWith(answer.failure()));
        }
        if (!answer) {
            exit = ExitCode::Failed;
        }
        table.add(
            {number(row.code), row.name, answer ? *answer : "(" + answer.failure().text() + ")"});
    }
    session->passOnLines();
    return worse(exit, say(table.text()));
}

} // namespace

void addQuery(CLI::App& app, Command& command) {
    auto* sub = app.add_subcommand("query", "Ask a driver all sixteen queries");
    auto name = std::make_shared<std::string>();
    sub->add_option("driver", *name, "Name of a driver, or path of its program")
        ->required()
        ->type_name("DRIVER");
    sub->callback([&command, name] { command.exit = queryDriver(command.drivers, *name); });
}
