// SPDX-License-Identifier: MIT
// tdr view FILE: executes the program tdr-view. Loading the window system's libraries takes a
// quarter of the start of tdr, so no other subcommand loads them.
#include "subcommands.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <memory>
#include <utility>

void addViewWith(CLI::App& app, std::function<void(const ViewOptions& options)> view) {
    auto* sub = app.add_subcommand("view", "Show a picture in a window; Escape closes it");
    auto options = std::make_shared<ViewOptions>();
    sub->add_option("file", options->file, "Picture to show")->required()->type_name("FILE");
    addAlphaOptions(*sub, options->alpha);
    sub->callback([options, view = std::move(view)] { view(*options); });
}

void addView(CLI::App& app, Command& command) {
    addViewWith(app, [&command](const ViewOptions&) { command.successor = "tdr-view"; });
}
