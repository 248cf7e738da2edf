// tolvana completion bash: a completion script for the shell, made from the commands and
// options the tool itself defines, so it never falls behind them.
//
//   source <(tolvana completion bash)
#include <algorithm>
#include <cstdio>

#include "Commands.h"

namespace tolvana::cli {

namespace {

// The options of a command; with takingValues, only those a value follows.
std::string optionWords(const CLI::App& app, bool takingValues = false) {
  std::string words;
  for (const CLI::Option* option : app.get_options()) {
    if (takingValues && option->get_items_expected_min() == 0) continue;
    for (const auto& name : option->get_lnames()) words += " --" + name;
    for (const auto& name : option->get_snames()) words += " -" + name;
  }
  return words;
}

std::string bashScript(const CLI::App& app) {
  std::string commands, cases;
  for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
    commands += " " + command->get_name();
    cases += "    " + command->get_name() + ") words=\"" + optionWords(*command) + "\" ;;\n";
  }
  std::string valueOptions = optionWords(app, true);
  std::replace(valueOptions.begin(), valueOptions.end(), ' ', '|');
  // The first word that is no option, nor an option's value, names the command; until there
  // is one, commands and global options are offered. Global options are taken after the
  // command too. File names are completed where no word matches.
  return "_tolvana() {\n"
         "  local current=${COMP_WORDS[COMP_CWORD]} command='' skip='' word words\n"
         "  for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
         "    if [ -n \"$skip\" ]; then skip=''; continue; fi\n"
         "    case $word in " + valueOptions.substr(1) + ") skip=1 ;; -*) ;; *) command=$word; break ;; esac\n"
         "  done\n"
         "  case $command in\n" +
         cases + "    *) words=\"" + commands + "\" ;;\n" +
         "  esac\n"
         "  COMPREPLY=($(compgen -W \"$words" + optionWords(app) + "\" -- \"$current\"))\n"
         "}\n"
         "complete -o default -o bashdefault -F _tolvana tolvana\n";
}

}  // namespace

void addCompletionCommand(CLI::App& app) {
  auto shell = std::make_shared<std::string>();
  auto* command =
      app.add_subcommand("completion", "Print a shell completion script: source <(tolvana completion bash)");
  command->add_option("SHELL", *shell, "The shell (bash)")->required()->check(CLI::IsMember({"bash"}));
  command->callback([&app, shell] { std::printf("%s", bashScript(app).c_str()); });
}

}  // namespace tolvana::cli
