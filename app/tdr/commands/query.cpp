// SPDX-License-Identifier: MIT
// tdr query DRIVER: the answers to all sixteen queries, as a table; or what is wrong with the
// driver.
#include "IPC_Codes.h"
#include "lint/driverLint.h"
#include "output/console.h"
#include "output/formatted.h"
#include "output/table.h"
#include "pictures/driverSet.h"
#include "pictures/formatText.h"
#include "subcommands.h"

#include <limits>
#include <string_view>

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
    return formatted("{}, {}", pair.first, pair.second);
}

std::string boundsText(const tdr::Bounds& b) {
    return formatted("x {}, y {}, width {}, height {}", b.x, b.y, b.width, b.height);
}

std::string namingText(const tdr::FileNaming& naming) {
    return formatted("prefix {}, extension {}, number {}, template {}", quoted(naming.prefix),
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

Text formatsText(tdr::Session& driver) {
    std::string all;
    for (std::int32_t i = 0; i < kMostFormats; ++i) {
        const auto format = driver.format(i);
        if (!format) {
            return format.failure();
        }
        if (!*format) {
            break;
        }
        all += (i == 0 ? "" : "; ") + formatted("{}: {}", i, formatText(**format));
    }
    return all.empty() ? "none" : all;
}

struct QueryRow {
    std::int16_t code;
    Text (*ask)(tdr::Session& driver);
    std::string_view name = {}; ///< if it differs from the name of the code
};

constexpr QueryRow kQueries[] = {
    {ipc::kQueryAccessModes, [](auto& d) { return shown(d.accessModes(), accessModesText); }},
    {ipc::kQueryVendorName, [](auto& d) { return shown(d.vendorName(), quoted); }},
    {ipc::kQueryFormatCount, [](auto& d) { return shown(d.formatCount(), number); }},
    {ipc::kQueryCurrentFormat, [](auto& d) { return shown(d.currentFormat(), currentFormatText); }},
    {ipc::kQueryIthFormat, formatsText, "formats"},
    {ipc::kQueryBounds, [](auto& d) { return shown(d.bounds(), boundsText); }},
    {ipc::kQueryTiling, [](auto& d) { return shown(d.tiling(), pairText); }},
    {ipc::kQueryStampBounds, [](auto& d) { return shown(d.stampBounds(), pairText); }},
    {ipc::kQueryCurrentCell, [](auto& d) { return shown(d.currentCell(), cellText); }},
    {ipc::kQueryFormatName, [](auto& d) { return shown(d.formatName(), quoted); }},
    {ipc::kQueryStartCell, [](auto& d) { return shown(d.startCell(), cellText); }},
    {ipc::kQueryEndCell, [](auto& d) { return shown(d.endCell(), cellText); }},
    {ipc::kQueryDefaultPreReadCommand,
     [](auto& d) { return shown(d.defaultPreReadCommand(), quoted); }},
    {ipc::kQueryDefaultPostWriteCommand,
     [](auto& d) { return shown(d.defaultPostWriteCommand(), quoted); }},
    {ipc::kQueryWriteDirection, [](auto& d) { return shown(d.writeDirection(), number); }},
    {ipc::kQueryFileNamingConvention, [](auto& d) { return shown(d.fileNaming(), namingText); },
     "file naming"},
};

std::string nameOf(const QueryRow& row) {
    return std::string(row.name.empty() ? ipc::nameOf(ipc::kClassInfo, row.code) : row.name);
}

ExitCode queryDriver(const DriverOptions& options, const std::string& name) {
    const auto program = findDriver(options, name);
    if (!program) {
        return fail(program.failure());
    }
    auto running = startDriver(*program, options);
    if (!running) {
        return fail(problemWith(running.failure()));
    }
    ExitCode exit = ExitCode::Done;
    Table table({"CODE", "QUERY", "ANSWER"});
    for (const QueryRow& row : kQueries) {
        const Text answer = row.ask(running->session);
        if (!answer && !running->session.alive()) {
            return fail(problemWith(answer.failure()));
        }
        if (!answer) {
            exit = ExitCode::Failed;
        }
        table.add({number(row.code), nameOf(row),
                   answer ? *answer : "(" + answer.failure().text() + ")"});
    }
    running->passOnLines();
    return worse(exit, say(table.text()));
}

struct QueryOptions {
    std::string driver;
    std::string file;
    bool lint = false;
};

/// Each fault and each note is a line.
ExitCode lint(const DriverOptions& drivers, const QueryOptions& options) {
    const auto program = findDriver(drivers, options.driver);
    const auto report = program ? lintDriver(*program, drivers, options.file) : program.failure();
    if (!report) {
        return fail(report.failure());
    }
    const std::string name = program->filename().string();
    std::string text;
    for (const std::string& note : report->notes) {
        text += formatted("{}: note: {}\n", name, note);
    }
    for (const std::string& fault : report->faults) {
        text += formatted("{}: {}\n", name, fault);
    }
    const std::size_t count = report->faults.size();
    text += formatted("{}: {}\n", name, count == 0 ? "no faults" : counted(count, "fault"));
    return worse(count == 0 ? ExitCode::Done : ExitCode::Failed, say(text));
}

} // namespace

void addQuery(Arguments& arguments, Command& command) {
    auto options = std::make_shared<QueryOptions>();
    arguments.value("driver", "DRIVER", options->driver, "Name of a driver, or path of its program")
        .require();
    arguments.value("file", "FILE", options->file, "With --lint: also read this picture");
    arguments.flag("--lint", options->lint,
                   "Check that the driver does what docs/writing-a-driver.md asks for");
    arguments.run([&command, options] {
        command.exit = options->lint ? lint(command.drivers, *options)
                       : options->file.empty()
                           ? queryDriver(command.drivers, options->driver)
                           : fail({ExitCode::Usage, "unknown argument: " + options->file +
                                                        " (a file to read needs --lint)"});
    });
}
