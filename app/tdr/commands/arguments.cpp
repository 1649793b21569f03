// SPDX-License-Identifier: MIT
#include "arguments.h"

#include "output/nearest.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <span>
#include <sstream>
#include <utility>

Argument& Argument::require() {
    option_.required();
    return *this;
}

Argument& Argument::single() {
    option_.expected(1, 1);
    return *this;
}

Argument& Argument::range(std::int32_t least, std::int32_t most) {
    option_.check(CLI::Range(least, most));
    return *this;
}

Argument& Argument::range(double least, double most) {
    option_.check(CLI::Range(least, most));
    option_.check([](const std::string& value) { // which is not outside either
        return std::isnan(std::strtod(value.c_str(), nullptr)) ? "not a number: " + value : "";
    });
    return *this;
}

Argument& Argument::existingFolder() {
    option_.check(CLI::ExistingDirectory);
    return *this;
}

Argument& Argument::oneOf(std::vector<std::string> values) {
    option_.check(CLI::IsMember(std::move(values)));
    return *this;
}

Argument& Argument::check(std::string (*problem)(const std::string& value)) {
    option_.check(problem);
    return *this;
}

Argument& Argument::exclude(const Argument& other) {
    option_.excludes(&other.option_);
    return *this;
}

Argument& Argument::need(const Argument& other) {
    option_.needs(&other.option_);
    return *this;
}

Arguments Arguments::subcommand(const std::string& name, const std::string& help) {
    app_.require_subcommand(1);
    return Arguments(*app_.add_subcommand(name, help));
}

void Arguments::footer(const std::string& text) {
    app_.footer(text);
}

Argument Arguments::value(const std::string& names, const std::string& type, std::string& target,
                          const std::string& help) {
    return Argument(*app_.add_option(names, target, help)->type_name(type));
}

Argument Arguments::value(const std::string& names, const std::string& type, std::int32_t& target,
                          const std::string& help) {
    return Argument(*app_.add_option(names, target, help)->type_name(type));
}

Argument Arguments::value(const std::string& names, const std::string& type, double& target,
                          const std::string& help) {
    return Argument(*app_.add_option(names, target, help)->type_name(type));
}

Argument Arguments::value(const std::string& names, const std::string& type,
                          std::vector<std::string>& target, const std::string& help) {
    CLI::Option* option = app_.add_option(names, target, help)->type_name(type);
    return Argument(*option->allow_extra_args(option->get_positional()));
}

Argument Arguments::flag(const std::string& names, bool& target, const std::string& help) {
    return Argument(*app_.add_flag(names, target, help));
}

Argument Arguments::flag(const std::string& names, std::function<void()> set,
                         const std::string& help) {
    return Argument(*app_.add_flag_callback(names, std::move(set), help));
}

void Arguments::run(std::function<void()> action) {
    app_.callback(std::move(action));
}

namespace {

constexpr const char* kHelp = "help"; ///< the parser's own subcommand

std::vector<std::string> subcommandsOf(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* sub : app.get_subcommands({})) {
        names.push_back(sub->get_name());
    }
    return names;
}

/// The long names of its options, and its subcommands.
std::vector<std::string> wordsOf(const CLI::App& app) {
    std::vector<std::string> words = subcommandsOf(app);
    for (const CLI::Option* option : app.get_options()) {
        for (const std::string& name : option->get_lnames()) {
            words.push_back("--" + name);
        }
    }
    return words;
}

/// The options that stand anywhere.
std::vector<std::string> sharedOptions(const CLI::App& root) {
    std::vector<std::string> words = wordsOf(root);
    std::erase_if(words, [](const std::string& word) {
        return !word.starts_with("--") || word == "--help" || word == "--version";
    });
    return words;
}

/// The values of `oneOf`, which the parser has in "SHELL:{bash,zsh}"; none without it.
std::vector<std::string> valuesOf(const CLI::Option& option) {
    const std::string type = option.get_type_name();
    const std::size_t begin = type.find('{');
    return begin == std::string::npos
               ? std::vector<std::string>()
               : CLI::detail::split(type.substr(begin + 1, type.find('}') - begin - 1), ',');
}

void addWords(std::vector<CommandWords>& all, const std::string& name, const CLI::App& app,
              const std::vector<std::string>& everywhere) {
    CommandWords words{name, wordsOf(app)};
    const auto append = [&](const std::vector<std::string>& more) {
        words.words.insert(words.words.end(), more.begin(), more.end());
    };
    append(everywhere);
    for (const CLI::Option* argument :
         app.get_options([](const CLI::Option* option) { return option->get_positional(); })) {
        append(valuesOf(*argument));
    }
    all.push_back(std::move(words));
    for (const CLI::App* sub : app.get_subcommands({})) {
        addWords(all, name + ' ' + sub->get_name(), *sub, everywhere);
    }
}

/// The commands that there is help on.
void addTopics(std::vector<CommandWords>& all, const std::string& name, const CLI::App& app) {
    for (const CLI::App* sub : app.get_subcommands({})) {
        const std::string topic = name + ' ' + sub->get_name();
        all.push_back({topic, subcommandsOf(*sub)});
        addTopics(all, topic, *sub);
    }
}

void addValues(std::vector<OptionValues>& all, const CLI::App& app) {
    for (const CLI::Option* option : app.get_options()) {
        const std::string names =
            option->get_items_expected_max() > 0 ? option->get_name(false, true) : "";
        for (const std::string& name : CLI::detail::split(names, ',')) {
            if (name.starts_with('-') &&
                std::ranges::count(all, name, &OptionValues::option) == 0) {
                all.push_back({name, valuesOf(*option)});
            }
        }
    }
    for (const CLI::App* sub : app.get_subcommands({})) {
        addValues(all, *sub);
    }
}

const CLI::App& rootOf(const CLI::App& app) {
    return app.get_parent() == nullptr ? app : rootOf(*app.get_parent());
}

} // namespace

std::vector<CommandWords> Arguments::commandWords() const {
    const CLI::App& root = rootOf(app_);
    const std::vector<std::string> shared = sharedOptions(root);
    std::vector<CommandWords> all{{root.get_name(), wordsOf(root)}};
    for (const CLI::App* sub : root.get_subcommands({})) {
        addWords(all, root.get_name() + ' ' + sub->get_name(), *sub, shared);
    }
    const std::string help = root.get_name() + ' ' + kHelp;
    const std::vector<std::string> names = subcommandsOf(root);
    auto& words = std::ranges::find(all, help, &CommandWords::command)->words;
    words.insert(words.begin(), names.begin(), names.end());
    addTopics(all, help, root);
    return all;
}

std::vector<OptionValues> Arguments::optionValues() const {
    std::vector<OptionValues> all;
    addValues(all, rootOf(app_));
    return all;
}

namespace {

std::string checkNotEmpty(const std::string& value) {
    return value.empty() ? "may not be empty" : "";
}

/// No option or argument accepts an empty value: it usually comes from an unset variable, and for
/// some it would have another meaning.
void refuseEmptyValues(CLI::App& app) {
    for (CLI::Option* option : app.get_options()) {
        option->check(checkNotEmpty);
    }
    for (CLI::App* sub : app.get_subcommands({})) {
        refuseEmptyValues(*sub);
    }
}

/// The subcommand that the arguments selected, as far as they were understood, with its full name.
struct Selected {
    const CLI::App* app;
    std::string name;
};

Selected selectedIn(const CLI::App& app) {
    Selected selected{&app, app.get_name()};
    for (auto inner = app.get_subcommands(); !inner.empty();
         inner = selected.app->get_subcommands()) {
        selected = {inner.front(), selected.name + ' ' + inner.front()->get_name()};
    }
    return selected;
}

/// What may stand in the place of `word`.
std::vector<std::string> knownLike(const std::string& word, const CLI::App& app,
                                   const CLI::App& selected) {
    std::vector<std::string> known = wordsOf(selected);
    const std::vector<std::string> shared = sharedOptions(app);
    known.insert(known.end(), shared.begin(), shared.end());
    std::erase_if(known, [&](const std::string& other) {
        return other.starts_with('-') != word.starts_with('-');
    });
    return known;
}

std::string unknownText(const std::string& word, const std::vector<std::string>& known) {
    const std::string meant = nearest(word, known);
    return "unknown argument: " + word + (meant.empty() ? "" : " (did you mean " + meant + "?)");
}

Parsed usageError(const CLI::App& app, std::string text) {
    const Selected selected = selectedIn(app);
    // An unknown word explains more than the missing argument that results from it.
    if (const auto unknown = app.remaining(true); !unknown.empty()) {
        text = unknownText(unknown.front(), knownLike(unknown.front(), app, *selected.app));
    }
    const std::string help = CLI::Formatter().make_usage(selected.app, selected.name);
    const std::size_t begin = help.find("Usage");
    const std::string usage = help.substr(begin, help.find('\n', begin) - begin);
    return {Parsed::As::Error, text, usage, selected.name + " --help"};
}

/// The help of the subcommand with these names, one inside the other; without names, of all.
Parsed helpOn(const std::vector<std::string>& names, const CLI::App& app) {
    const CLI::App* about = &app;
    std::string title = app.get_name();
    for (const std::string& name : names) {
        const auto inner =
            about->get_subcommands([&](const CLI::App* sub) { return sub->get_name() == name; });
        if (inner.empty()) {
            Parsed error = usageError(app, unknownText(name, subcommandsOf(*about)));
            error.helper = title + " --help";
            return error;
        }
        about = inner.front();
        title += ' ' + name;
    }
    const std::string text =
        about->get_formatter()->make_help(about, title, CLI::AppFormatMode::Normal);
    return {Parsed::As::Text, text, {}, {}};
}

/// Where the options end.
std::size_t countOfOptions(std::span<char*> words) {
    const auto isEnd = [](std::string_view word) { return word == "--"; };
    return static_cast<std::size_t>(std::ranges::find_if(words, isEnd) - words.begin());
}

/// True for "--html=".
bool isWithoutValue(std::string_view word) {
    return word.starts_with("--") && word.find('=') == word.size() - 1;
}

/// "--html=" as "--html" and an empty word: the parser would give the option the word behind it.
std::vector<std::string> separated(std::span<char*> words) {
    const std::size_t options = countOfOptions(words);
    std::vector<std::string> all;
    for (std::size_t i = 0; i < words.size(); ++i) {
        all.emplace_back(words[i]);
        if (i < options && isWithoutValue(all.back())) {
            all.back().pop_back();
            all.emplace_back();
        }
    }
    return all;
}

/// What is wrong with these words. An empty value may have become an argument of another name.
std::string reasonFor(const CLI::ParseError& error, std::span<char*> words) {
    const auto options = words.first(countOfOptions(words));
    const auto bare = std::ranges::find_if(options, isWithoutValue);
    return bare == options.end() ? error.what() : std::string(*bare) + " has no value";
}

} // namespace

ArgumentParser::ArgumentParser(const std::string& program, const std::string& help,
                               const std::string& version)
    : app_(std::make_unique<CLI::App>(help, program)) {
    app_->set_version_flag("--version", program + ' ' + version);
    app_->fallthrough();
}

ArgumentParser::~ArgumentParser() = default;

Parsed ArgumentParser::parse(int argc, char** argv) {
    std::vector<std::string> helpWanted;
    Arguments help = all().subcommand(kHelp, "Show this help, or that of a command");
    help.value("command", "COMMAND", helpWanted, "Command whose help to show");
    refuseEmptyValues(*app_);
    const std::span<char*> given(argv + std::min(argc, 1), argv + argc);
    try {
        std::vector<std::string> words = separated(given);
        std::ranges::reverse(words); // as the parser takes them
        app_->parse(std::move(words));
    } catch (const CLI::Success& wanted) { // --help, --version
        std::ostringstream text;
        app_->exit(wanted, text, text);
        return {Parsed::As::Text, text.str(), {}, {}};
    } catch (const CLI::ParseError& error) {
        return usageError(*app_, reasonFor(error, given));
    }
    return app_->got_subcommand(kHelp) ? helpOn(helpWanted, *app_) : Parsed{};
}
