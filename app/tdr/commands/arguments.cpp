// SPDX-License-Identifier: MIT
#include "arguments.h"

#include <CLI/CLI.hpp>
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

} // namespace

ArgumentParser::ArgumentParser(const std::string& program, const std::string& help,
                               const std::string& version)
    : app_(std::make_unique<CLI::App>(help, program)) {
    app_->set_version_flag("--version", version);
    app_->fallthrough();
}

ArgumentParser::~ArgumentParser() = default;

Parsed ArgumentParser::parse(int argc, char** argv) {
    refuseEmptyValues(*app_);
    try {
        app_->parse(argc, argv);
    } catch (const CLI::Success& wanted) { // --help, --version
        std::ostringstream text;
        app_->exit(wanted, text, text);
        return {Parsed::As::Text, text.str()};
    } catch (const CLI::ParseError& error) {
        // An unknown word explains more than the missing argument that results from it.
        const auto unknown = app_->remaining(true);
        return {Parsed::As::Error,
                unknown.empty() ? error.what() : "unknown argument: " + unknown.front()};
    }
    return {};
}
