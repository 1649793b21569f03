// SPDX-License-Identifier: MIT
// tdr-view: what `tdr view FILE` does. Shows a picture in a window until Escape or the window
// manager closes it. The driver has ended by the time the window opens.
#include "TDR_BufferWindow.h"
#include "commands/subcommands.h"
#include "output/console.h"
#include "pictures/alpha.h"
#include "pictures/metadata.h"
#include "pictures/pictureFile.h"
#include "tdr/interruptGuard.h"
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
    bool damaged = false; ///< shown as far as it could be read
};

Outcome<ViewSize> roomOnScreen(const std::string& file) {
    const auto screen = BufferWindow::screenSize();
    if (!screen) {
        return Problem{ExitCode::Failed, file + ": no X display to show it on (see DISPLAY)"};
    }
    return ViewSize{std::max(screen->width - kKeptFree.width, 1),
                    std::max(screen->height - kKeptFree.height, 1)};
}

tdr::Status addLines(PictureFile& picture, AlphaChange alpha, ViewCanvas& canvas) {
    auto block = tdr::SharedBlock::create(tdr::lineBytes(picture.reader.width()));
    if (!block) {
        return block.failure();
    }
    for (std::int32_t line = picture.reader.height(); line-- > 0;) {
        if (auto read = picture.reader.readLine(*block, line); !read) {
            return read;
        }
        changeAlpha(alpha, block->bytes());
        canvas.addLine(block->bytes());
    }
    return picture.reader.close();
}

Outcome<View> readView(DriverSet& drivers, const ViewOptions& options) {
    const std::string& file = options.file;
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
    const auto metadata = readMetadata(pathOfDescriptor(picture->file.get()));
    if (!metadata) {
        return Problem{metadata.problem().code, file + ": " + metadata.problem().text};
    }
    const ViewSize size{picture->reader.width(), picture->reader.height()};
    const ViewSize shown = viewSize(size, metadata->ratio, *room);
    ViewCanvas canvas(size, shown);
    if (const auto added = addLines(*picture, options.alpha, canvas); !added) {
        picture->session->passOnLines(added.failure().lastLine);
        return picture->session->problem(file, added.failure());
    }
    picture->session->passOnLines();
    const std::string name = std::filesystem::path(file).filename().string();
    return View{fmt::format("{} - {} x {} - {}", printable(name), size.width, size.height,
                            printable(*format)),
                shown, canvas.pixels(), !picture->session->driver.damage().empty()};
}

ExitCode view(const DriverOptions& driverOptions, const ViewOptions& options) {
    auto picture = [&] {
        DriverSet drivers(driverOptions);
        return readView(drivers, options);
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
    if (!shown) {
        return complain(Problem{ExitCode::Failed, options.file + ": its window failed, see above"});
    }
    return picture->damaged ? ExitCode::Failed : ExitCode::Done; // its driver has said why
}

void addViewHere(CLI::App& app, Command& command) {
    addViewWith(app, [&command](const ViewOptions& options) {
        command.exit = view(command.drivers, options);
    });
}

} // namespace

int main(int argc, char** argv) {
    static constexpr AddSubcommand kSubcommands[] = {addViewHere};
    return runCommand(argc, argv, kSubcommands);
}
