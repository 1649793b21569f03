// SPDX-License-Identifier: MIT
// tdr view FILE...: executes the program tdr-view. Loading the window system's libraries takes a
// quarter of the start of tdr, so no other subcommand loads them.
#include "subcommands.h"

#include <memory>
#include <utility>

void addViewWith(Arguments& arguments, std::function<void(const ViewOptions& options)> view) {
    auto options = std::make_shared<ViewOptions>();
    arguments
        .value("file", "FILE", options->files,
               "Pictures to show, or patterns (shot.%04d.pic, shot.####.pic, shot.@.pic)")
        .require();
    arguments
        .value("--rate", "N", options->rate, "Pictures a second that Return plays (default: 25)")
        .range(0.01, 1000.0);
    addAlphaOptions(arguments, options->alpha);
    arguments.run([options, view = std::move(view)] { view(*options); });
}

void addView(Arguments& arguments, Command& command) {
    addViewWith(arguments, [&command](const ViewOptions&) { command.successor = "tdr-view"; });
}
