// SPDX-License-Identifier: MIT
// tdr view FILE: the program tdr-view does it. The window system's libraries take a quarter of the
// time in which tdr starts, and so nothing else shall load them.
#include "subcommands.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <memory>
#include <utility>

void addViewWith(CLI::App& app, std::function<void(const std::string& file)> view) {
    auto* sub = app.add_subcommand("view", "Show a picture in a window; Escape closes it");
    auto file = std::make_shared<std::string>();
    sub->add_option("file", *file, "Picture to show")->required()->type_name("FILE");
    sub->callback([file, view = std::move(view)] { view(*file); });
}

void addView(CLI::App& app, Command& command) {
    addViewWith(app, [&command](const std::string&) { command.successor = "tdr-view"; });
}
