// SPDX-License-Identifier: MIT
// tdr-view: what `tdr view FILE` does. Shows a picture in a window until Escape or the window
// manager closes it. The driver has ended by the time the window opens.
#include "TDR_BufferWindow.h"
#include "base/uniqueFile.h"
#include "console.h"
#include "pictureFile.h"
#include "subcommands.h"
#include "tdr/interruptGuard.h"
#include "tinyPicture.h"
#include "tinyTag.h"
#include "viewCanvas.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <fmt/format.h>
#include <utility>

namespace {

/// What a window's frame and the window's own distance from the screen's corner leave free of it.
constexpr ViewSize kKeptFree{20, 50};

/// What a window needs of a picture.
struct View {
    std::string title;
    ViewSize size;
    std::vector<std::uint32_t> pixels;
};

double pictureRatio(const char* name) {
    Picture header{};
    ChannelPacket* chain = nullptr;
    const base::UniqueFile stream(pictureReadFileHeader(name, &header, &chain));
    const std::unique_ptr<ChannelPacket, ChannelPacketDisposer> owner(chain);
    return stream ? static_cast<double>(header.ratio) : 1;
}

double matteRatio(const char* name) {
    Tag header{};
    const base::UniqueFile stream(tagReadFileHeader(name, &header));
    return stream ? static_cast<double>(header.ratio) : 1;
}

struct RatioReader {
    const char* ending; ///< exactly this; for other names the toolkit opens another file
    double (*read)(const char* name);
};

constexpr RatioReader kRatioReaders[] = {{".pic", pictureRatio}, {".tag", matteRatio}};

/// Width of a pixel to its height, from the file's header; 1 where the format has no such number.
double pixelRatio(const std::string& file) {
    for (const RatioReader& reader : kRatioReaders) {
        if (file.ends_with(reader.ending)) {
            return reader.read(file.c_str());
        }
    }
    return 1;
}

Outcome<ViewSize> roomOnScreen(const std::string& file) {
    const auto screen = BufferWindow::screenSize();
    if (!screen) {
        return Problem{ExitCode::Failed, file + ": no X display to show it on (see DISPLAY)"};
    }
    return ViewSize{std::max(screen->width - kKeptFree.width, 1),
                    std::max(screen->height - kKeptFree.height, 1)};
}

tdr::Status addLines(PictureFile& picture, ViewCanvas& canvas) {
    auto block = tdr::SharedBlock::create(tdr::lineBytes(picture.reader.width()));
    if (!block) {
        return block.failure();
    }
    for (std::int32_t line = picture.reader.height(); line-- > 0;) {
        if (auto read = picture.reader.readLine(*block, line); !read) {
            return read;
        }
        canvas.addLine(block->bytes());
    }
    return picture.reader.close();
}

Outcome<View> readView(DriverSet& drivers, const std::string& file) {
    auto picture = openPicture(drivers, file);
    if (!picture) {
        return picture.problem();
    }
    const auto room = roomOnScreen(file);
    if (!room) {
        return room.problem();
    }
    const auto format = picture->session->driver.formatName();
    if (!format) {
        return problemWith(file, format.failure());
    }
    const ViewSize size{picture->reader.width(), picture->reader.height()};
    const ViewSize shown = viewSize(size, pixelRatio(file), *room);
    ViewCanvas canvas(size, shown);
    if (const auto added = addLines(*picture, canvas); !added) {
        picture->session->passOnLines(added.failure().lastLine);
        return picture->session->problem(file, added.failure());
    }
    picture->session->passOnLines();
    const std::string name = std::filesystem::path(file).filename().string();
    return View{fmt::format("{} - {} x {} - {}", printable(name), size.width, size.height,
                            printable(*format)),
                shown, canvas.pixels()};
}

ExitCode view(const DriverOptions& options, const std::string& file) {
    auto picture = [&] {
        DriverSet drivers(options);
        return readView(drivers, file);
    }();
    if (!picture) {
        return complain(picture.problem());
    }
    const tdr::InterruptGuard::Pause nothingToCleanUp; // while the window stands
    if (tdr::InterruptGuard::signal() != 0) {          // came before the line above
        return ExitCode::Failed;
    }
    const bool shown = tryPasteBuffer(picture->size.width, picture->size.height,
                                      picture->pixels.data(), picture->title.c_str());
    return shown ? ExitCode::Done
                 : complain(Problem{ExitCode::Failed, file + ": its window failed, see above"});
}

void addViewHere(CLI::App& app, Command& command) {
    addViewWith(
        app, [&command](const std::string& file) { command.exit = view(command.drivers, file); });
}

} // namespace

int main(int argc, char** argv) {
    static constexpr AddSubcommand kSubcommands[] = {addViewHere};
    return runCommand(argc, argv, kSubcommands);
}
