// SPDX-License-Identifier: MIT
// tdr completion bash|zsh: prints what the shell reads to complete the arguments of tdr.
#include "output/console.h"
#include "subcommands.h"

namespace {

/// The lines "  'tdr convert') known='--verify --to' ;;", one for each command.
std::string casesOf(const std::vector<CommandWords>& commands) {
    std::string cases;
    for (const CommandWords& command : commands) {
        cases += "    '" + command.command + "') known='";
        for (const std::string& word : command.words) {
            cases += (&word == command.words.data() ? "" : " ") + word;
        }
        cases += "' ;;\n";
    }
    return cases;
}

/// A pattern of all subcommands: "'tdr convert'|'tdr scene check'".
std::string patternOf(const std::vector<CommandWords>& commands) {
    std::string pattern;
    for (const CommandWords& command : commands) {
        pattern += (pattern.empty() ? "'" : "|'") + command.command + '\'';
    }
    return pattern;
}

/// Both shells: `command` becomes the innermost subcommand typed, `known` what may follow it. A
/// word that is neither an option nor a subcommand is a file; options are offered only after a -.
std::string walk(const std::vector<CommandWords>& commands, const std::string& typed) {
    return "  local command=tdr word known=\n"
           "  for word in " +
           typed +
           "; do\n"
           "    case \"$command $word\" in\n"
           "    " +
           patternOf(commands) +
           ") command=\"$command $word\" ;;\n"
           "    esac\n"
           "  done\n"
           "  case $command in\n" +
           casesOf(commands) + "  esac\n";
}

std::string forBash(const std::vector<CommandWords>& commands) {
    return "_tdr() {\n" + walk(commands, "\"${COMP_WORDS[@]:1:COMP_CWORD-1}\"") +
           "  local typed=${COMP_WORDS[COMP_CWORD]} hidden='-*'\n"
           "  [[ $typed == -* ]] && hidden=\n"
           "  mapfile -t COMPREPLY < <(compgen -W \"$known\" -X \"$hidden\" -- \"$typed\")\n"
           "}\n"
           "complete -o default -F _tdr tdr\n";
}

std::string forZsh(const std::vector<CommandWords>& commands) {
    return "#compdef tdr\n_tdr() {\n  local -a typed=(\"${(@)words[2,CURRENT-1]}\")\n" +
           walk(commands, "\"${typed[@]}\"") +
           "  local -a offered=(${=known})\n"
           "  [[ $PREFIX == -* ]] || offered=(${offered:#-*})\n"
           "  compadd -- $offered\n"
           "  _files\n"
           "}\n"
           "_tdr\n";
}

} // namespace

void addCompletion(Arguments& arguments, Command& command) {
    auto shell = std::make_shared<std::string>();
    arguments.value("shell", "SHELL", *shell, "bash or zsh").require().oneOf({"bash", "zsh"});
    arguments.run([&command, arguments, shell] {
        const auto commands = arguments.commandWords();
        command.exit = say(*shell == "bash" ? forBash(commands) : forZsh(commands));
    });
}
