#include "TavroCLI/CompletionVerb.h"

#include <fmt/format.h>

#include <memory>

#include "Platform/Text.h"
#include "TavroCLI/Nearest.h"
#include "TavroCLI/Terminal.h"
#include "TavroCLI/Verbs.h"

namespace {

std::string names(const std::vector<Verb>& verbs) {
  std::string text;
  for (const auto& verb : verbs) text += (text.empty() ? "" : " ") + std::string(verb.name);
  return text;
}

/// bash, and zsh through its own layer for bash's scripts.
std::string bash() {
  std::string cases;
  for (const auto& verb : Verbs::all()) {
    if (!verb.children.empty()) cases += fmt::format("    {}) words='{}' ;;\n", verb.name, names(verb.children));
  }
  return fmt::format(R"(_tavro() {{
  local words
  if [ "$COMP_CWORD" -eq 1 ]; then words='{}'
  elif [ "$COMP_CWORD" -eq 2 ]; then case "${{COMP_WORDS[1]}}" in
    run|tools) words=$(tavro tools 2>/dev/null | cut -f1) ;;
    pending|approve|reject) words=$(tavro pending 2>/dev/null | cut -f1) ;;
    answer) words=$(tavro feedback list --open 2>/dev/null | cut -f1) ;;
    mode) words='panic copilote yolo' ;;
    completion) words='bash zsh fish' ;;
{}  esac; fi
  COMPREPLY=($(compgen -W "$words" -- "${{COMP_WORDS[COMP_CWORD]}}"))
}}
complete -o default -F _tavro tavro
)",
                     names(Verbs::all()), cases);
}

std::string fish() {
  std::string text = "complete -c tavro -f\n";
  for (const auto& verb : Verbs::all()) {
    text += fmt::format("complete -c tavro -n __fish_use_subcommand -a {} -d '{}'\n", verb.name, verb.summary);
    if (verb.children.empty()) continue;
    text +=
        fmt::format("complete -c tavro -n '__fish_seen_subcommand_from {}' -a '{}'\n", verb.name, names(verb.children));
  }
  return text + R"(complete -c tavro -n '__fish_seen_subcommand_from run tools' -a '(tavro tools | cut -f1)'
complete -c tavro -n '__fish_seen_subcommand_from pending approve reject' -a '(tavro pending 2>/dev/null | cut -f1)'
complete -c tavro -n '__fish_seen_subcommand_from answer' -a '(tavro feedback list --open 2>/dev/null | cut -f1,6)'
complete -c tavro -n '__fish_seen_subcommand_from mode' -a 'panic copilote yolo'
)";
}

ExitStatus print(const std::string& shell) {
  if (shell == "bash") {
    Terminal::print(bash());
  } else if (shell == "zsh") {
    Terminal::print("autoload -U +X bashcompinit && bashcompinit\n" + bash());
  } else if (shell == "fish") {
    Terminal::print(fish());
  } else {
    throw CommandError(ExitStatus::wrongUsage,
                       "no completion for \"" + shell + "\"" + Nearest::hint(shell, {"bash", "zsh", "fish"}));
  }
  return ExitStatus::done;
}

}  // namespace

namespace CompletionVerb {

Work completion(CLI::App& command) {
  auto shell = std::make_shared<std::string>();
  command.add_option("SHELL", *shell, "bash, zsh or fish")->required();
  return [shell] { return print(*shell); };
}

}  // namespace CompletionVerb
