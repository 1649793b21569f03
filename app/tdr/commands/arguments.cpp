// SPDX-License-Identifier: MIT
#include "arguments.h"

#include <CLI/CLI.hpp>
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
