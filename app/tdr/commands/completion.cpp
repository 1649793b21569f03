// SPDX-License-Identifier: MIT
// tdr completion bash|zsh: prints what the shell reads to complete the arguments of tdr.
#include "output/console.h"
#include "subcommands.h"

namespace {

/// "a b c", or with another text between them.
std::string joined(const std::vector<std::string>& words, const char* between = " ") {
    std::string text;
    for (const std::string& word : words) {
        text += (&word == words.data() ? "" : between) + word;
    }
    return text;
}

/// The line "    'tdr convert') known='--verify --to' ;;"; nothing if there is nothing to offer.
std::string caseOf(const std::string& pattern, const std::vector<std::string>& words) {
    return words.empty() ? "" : "    '" + pattern + "') known='" + joined(words) + "' ;;\n";
}

/// Both shells: `command` becomes the innermost subcommand typed, `option` the option whose value
/// is to be completed, and `known` what may follow. A word that is neither an option nor a
/// subcommand is a file; options are offered only after a -. Bash has the = of --show=trees as a
/// word; for zsh the value is set apart.
std::string walk(const Arguments& arguments, const std::string& typed) {
    std::vector<std::string> commands;
    std::vector<std::string> options;
    std::string cases;
    for (const CommandWords& command : arguments.commandWords()) {
        commands.push_back("'" + command.command + "'");
        cases += caseOf(command.command, command.words);
    }
    for (const OptionValues& option : arguments.optionValues()) {
        options.push_back("*' " + option.option + "'");
        cases += caseOf(option.option, option.values);
    }
    return "  local command=tdr option= word known=\n"
           "  for word in " +
           typed +
           "; do\n"
           "    [[ -n $option && $word != '=' ]] && option= && continue\n"
           "    case \"$command $word\" in\n"
           "    " +
           joined(commands, "|") +
           ") command=\"$command $word\" ;;\n"
           "    " +
           joined(options, "|") +
           ") option=$word ;;\n"
           "    esac\n"
           "  done\n"
           "  case ${option:-$command} in\n" +
           cases + "  esac\n";
}

std::string forBash(const Arguments& arguments) {
    return "_tdr() {\n" + walk(arguments, "\"${COMP_WORDS[@]:1:COMP_CWORD-1}\"") +
           "  local typed=${COMP_WORDS[COMP_CWORD]} hidden='-*'\n"
           "  [[ $typed == '=' ]] && typed=\n"
           "  [[ $typed == -* ]] && hidden=\n"
           "  mapfile -t COMPREPLY < <(compgen -W \"$known\" -X \"$hidden\" -- \"$typed\")\n"
           "}\n"
           "complete -o default -F _tdr tdr\n";
}

std::string forZsh(const Arguments& arguments) {
    return "#compdef tdr\n_tdr() {\n  local -a typed=(\"${(@)words[2,CURRENT-1]}\")\n"
           "  [[ $PREFIX == --*=* ]] && typed+=(${PREFIX%%=*}) && compset -P '*='\n" +
           walk(arguments, "\"${typed[@]}\"") +
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
        command.exit = say(*shell == "bash" ? forBash(arguments) : forZsh(arguments));
    });
}
