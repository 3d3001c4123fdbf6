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
  return fmt::format(R"(_tavro_loops() {{
  local name typed="${{COMP_WORDS[COMP_CWORD]}}"
  typed="${{typed//[\\\'\"]/}}"
  while IFS= read -r name; do
    case "$name" in "$typed"*) ;; *) continue ;; esac
    if [ -n "$ZSH_VERSION" ]; then name=$(printf %q "$name"); fi
    COMPREPLY+=("$name")
  done < <(tavro auto list 2>/dev/null | cut -f1)
  compopt -o filenames 2>/dev/null
}}
_tavro() {{
  local words
  COMPREPLY=()
  if [ "$COMP_CWORD" -eq 1 ]; then words='{}'
  elif [ "$COMP_CWORD" -eq 2 ]; then case "${{COMP_WORDS[1]}}" in
    run|tools) words=$(tavro tools 2>/dev/null | cut -f1) ;;
    pending|approve|reject) words=$(tavro pending 2>/dev/null | cut -f1) ;;
    answer) words=$(tavro feedback list --open 2>/dev/null | cut -f1) ;;
    mode) words='panic copilote yolo' ;;
    completion) words='bash zsh fish' ;;
    auto-run) _tavro_loops; return ;;
{}  esac
  elif [ "${{COMP_WORDS[COMP_CWORD-1]}}" = --automation ]; then _tavro_loops; return
  else case "${{COMP_WORDS[1]}} ${{COMP_WORDS[2]}}" in
    'auto log'|'auto edit'|'auto enable'|'auto disable'|'auto run'|'auto rm'|'auto stop'|'auto attach')
      _tavro_loops; return ;;
  esac; fi
  COMPREPLY=($(compgen -W "$words" -- "${{COMP_WORDS[COMP_CWORD]}}"))
}}
complete -o default -F _tavro tavro
)",
                     names(Verbs::all()), cases);
}

std::string fish() {
  std::string text = "complete -c tavro -f\n";
  for (const auto& verb : Verbs::all()) {
    text += fmt::format("complete -c tavro -n __fish_use_subcommand -a {} -d '{}'\n", verb.name,
                        Text::replaceAll(verb.summary, "'", "\\'"));
    if (verb.children.empty()) continue;
    text += fmt::format(
        "complete -c tavro -n '__fish_seen_subcommand_from {0}; and not __fish_seen_subcommand_from {1}' -a '{1}'\n",
        verb.name, names(verb.children));
  }
  return text + R"(complete -c tavro -n '__fish_seen_subcommand_from tools' -a '(tavro tools | cut -f1)'
complete -c tavro -n '__fish_seen_subcommand_from run; and not __fish_seen_subcommand_from auto' -a '(tavro tools | cut -f1)'
complete -c tavro -n '__fish_seen_subcommand_from pending approve reject' -a '(tavro pending 2>/dev/null | cut -f1)'
complete -c tavro -n '__fish_seen_subcommand_from answer' -a '(tavro feedback list --open 2>/dev/null | cut -f1,6)'
complete -c tavro -n '__fish_seen_subcommand_from mode' -a 'panic copilote yolo'
function __tavro_loops; tavro auto list 2>/dev/null | cut -f1; end
complete -c tavro -n '__fish_seen_subcommand_from auto; and __fish_seen_subcommand_from log edit enable disable run rm stop attach' -a '(__tavro_loops)'
complete -c tavro -n '__fish_seen_subcommand_from auto-run' -a '(__tavro_loops)'
complete -c tavro -n '__fish_seen_subcommand_from feedback' -l automation -x -a '(__tavro_loops)'
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
