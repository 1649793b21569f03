// SPDX-License-Identifier: MIT
// tdr-view, executed by `tdr view FILE`: shows a picture in a window until Escape or the window
// manager closes it. The driver has ended when the window opens.
#include "TDR_BufferWindow.h"
#include "commands/subcommands.h"
#include "output/console.h"
#include "output/formatted.h"
#include "pictures/alpha.h"
#include "pictures/metadata.h"
#include "pictures/pictureFile.h"
#include "tdr/interruptGuard.h"
#include "viewCanvas.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <utility>

namespace {

/// Part of the screen kept free for the window's frame and its distance from the corner.
constexpr ViewSize kKeptFree{20, 50};

/// The data of a picture for the window.
struct View {
    std::string title;
    ViewSize size;
    std::vector<std::uint32_t> pixels;
    bool damaged = false; ///< only the readable part is shown
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
    auto block = tdr::SharedBlock::create(tdr::lineBytes(picture.source.width()));
    if (!block) {
        return block.failure();
    }
    for (std::int32_t line = picture.source.height(); line-- > 0;) {
        if (auto read = picture.source.readLine(*block, line); !read) {
            return read;
        }
        changeAlpha(alpha, block->bytes());
        canvas.addLine(block->bytes());
    }
    return picture.source.close();
}

Outcome<View> readView(DriverSet& drivers, const ViewOptions& options) {
    const std::string& file = options.file;
    auto picture = openPicture(drivers, file);
    if (!picture) {
        return picture.failure();
    }
    const auto room = roomOnScreen(file);
    if (!room) {
        return room.failure();
    }
    const auto format = picture->running->session.formatName();
    if (!format) {
        return problemWith(file, format.failure());
    }
    const auto metadata = readMetadata(pathOfDescriptor(picture->file.get()));
    if (!metadata) {
        return problemWith(file, metadata.failure());
    }
    const ViewSize size{picture->source.width(), picture->source.height()};
    const ViewSize shown = viewSize(size, metadata->ratio, *room);
    ViewCanvas canvas(size, shown);
    if (const auto added = addLines(*picture, options.alpha, canvas); !added) {
        picture->running->passOnLines(added.failure().lastLine);
        return picture->running->problem(file, added.failure());
    }
    picture->running->passOnLines();
    const std::string name = std::filesystem::path(file).filename().string();
    return View{formatted("{} - {} x {} - {}", printable(name), size.width, size.height,
                          printable(*format)),
                shown, canvas.pixels(), !picture->running->session.damage().empty()};
}

ExitCode view(const DriverOptions& driverOptions, const ViewOptions& options) {
    auto picture = [&] {
        DriverSet drivers(driverOptions);
        return readView(drivers, options);
    }();
    if (!picture) {
        return fail(picture.failure());
    }
    const tdr::InterruptGuard::Pause nothingToCleanUp; // while the window is open
    if (tdr::InterruptGuard::signal() != 0) {          // arrived before the line above
        return ExitCode::Failed;
    }
    const bool shown = tryPasteBuffer(picture->size.width, picture->size.height,
                                      picture->pixels.data(), picture->title.c_str());
    if (!shown) {
        return fail({ExitCode::Failed, options.file + ": its window failed, see above"});
    }
    return picture->damaged ? ExitCode::Failed : ExitCode::Done; // its driver has reported why
}

void addViewHere(Arguments& arguments, Command& command) {
    addViewWith(arguments, [&command](const ViewOptions& options) {
        command.exit = view(command.drivers, options);
    });
}

} // namespace

int main(int argc, char** argv) {
    static constexpr Subcommand kSubcommands[] = {{"view", kViewHelp, addViewHere}};
    return runCommand(argc, argv, kSubcommands);
}
