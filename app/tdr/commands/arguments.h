// SPDX-License-Identifier: MIT
// The arguments of a subcommand, as its help lists them. The parser is hidden behind them, because
// its headers take many times as long to compile as a subcommand.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

/// One argument that has been added. It belongs to the parser; this is a reference to it.
class Argument {
  public:
    explicit Argument(CLI::Option& option) : option_(option) {}

    Argument& require();
    /// Only one value, for a target that holds several.
    Argument& single();
    Argument& range(std::int32_t least, std::int32_t most);
    Argument& range(double least, double most);
    Argument& existingFolder();
    Argument& oneOf(std::vector<std::string> values);
    /// `problem` returns an empty text for a good value, what is wrong otherwise.
    Argument& check(std::string (*problem)(const std::string& value));
    /// Not both. Applies to both directions.
    Argument& exclude(const Argument& other);
    /// Only together with the other one.
    Argument& need(const Argument& other);

  private:
    CLI::Option& option_;
};

/// A command with its subcommands' names, "tdr scene check", and what may follow it: the long names
/// of its options, subcommands, and arguments of which all values are known.
struct CommandWords {
    std::string command;
    std::vector<std::string> words;
};

/// A name of an option that takes a value, "--show" or "-o", and the values if all are known.
struct OptionValues {
    std::string option;
    std::vector<std::string> values;
};

/// The arguments of a subcommand, or of a group of subcommands. A reference like Argument; every
/// target must outlive the run.
class Arguments {
  public:
    explicit Arguments(CLI::App& app) : app_(app) {}

    /// A subcommand of this one, one of which must be given.
    Arguments subcommand(const std::string& name, const std::string& help);
    /// Text below the list of arguments.
    void footer(const std::string& text);

    /// `names` is "-o,--output" for an option and a plain word for an argument recognised by its
    /// place; `type` is what the help calls the value. A vector takes one value an option, which
    /// may be repeated, or all the values that follow.
    Argument value(const std::string& names, const std::string& type, std::string& target,
                   const std::string& help);
    Argument value(const std::string& names, const std::string& type, std::int32_t& target,
                   const std::string& help);
    Argument value(const std::string& names, const std::string& type, double& target,
                   const std::string& help);
    Argument value(const std::string& names, const std::string& type,
                   std::vector<std::string>& target, const std::string& help);
    Argument flag(const std::string& names, bool& target, const std::string& help);
    Argument flag(const std::string& names, std::function<void()> set, const std::string& help);

    /// What the subcommand does, called when all the arguments are good.
    void run(std::function<void()> action);

    /// Of all commands of the program.
    [[nodiscard]] std::vector<CommandWords> commandWords() const;
    /// Of all commands, each name once.
    [[nodiscard]] std::vector<OptionValues> optionValues() const;

  private:
    CLI::App& app_;
};

/// What became of a command line.
struct Parsed {
    enum class As : std::uint8_t {
        Run,   ///< the selected subcommand has run
        Text,  ///< a text was asked for, as by --help
        Error, ///< the arguments are wrong
    };
    As as = As::Run;
    std::string text;   ///< what was asked for, or what is wrong
    std::string usage;  ///< how the selected subcommand is used
    std::string helper; ///< the command line that shows more
};

/// A command line: options that may stand anywhere, and subcommands, one of which must be given.
class ArgumentParser {
  public:
    ArgumentParser(const std::string& program, const std::string& help, const std::string& version);
    ~ArgumentParser();
    ArgumentParser(const ArgumentParser&) = delete;
    ArgumentParser& operator=(const ArgumentParser&) = delete;

    [[nodiscard]] Arguments all() const { return Arguments(*app_); }

    /// Sets the targets and runs the selected subcommand. Passes on what that throws.
    [[nodiscard]] Parsed parse(int argc, char** argv);

  private:
    std::unique_ptr<CLI::App> app_;
};
