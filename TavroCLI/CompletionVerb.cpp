// The scripts do nothing but ask `tavro complete` at each turn, so what is offered is as live as the verbs themselves
// and the same in all three shells. Options are shown to who has typed a "-".
#include "TavroCLI/CompletionVerb.h"

#include <map>
#include <memory>

#include "TavroCLI/Candidates.h"
#include "TavroCLI/Display.h"
#include "TavroCLI/Terminal.h"
#include "TavroCLI/Usage.h"

namespace {

/// A word that is half typed may hold quotes and backslashes; bash puts its own around what has blanks.
constexpr const char* bash = R"(_tavro() {
  local word typed="${COMP_WORDS[COMP_CWORD]}"
  typed="${typed//[\\\'\"]/}"
  COMPREPLY=()
  while IFS=$'\t' read -r word _; do
    [[ $word == -* && $typed != -* ]] && continue
    case "$word" in "$typed"*) COMPREPLY+=("$word") ;; esac
  done < <(tavro complete "${COMP_WORDS[@]:1:COMP_CWORD-1}" 2>/dev/null)
  compopt -o filenames 2>/dev/null
}
complete -o default -F _tavro tavro
)";

/// Read from a directory of completions it is the body of the function, else it defines one.
constexpr const char* zsh = R"(#compdef tavro
_tavro() {
  local -a words_before found
  words_before=("${(@Q)words[2,CURRENT-1]}")
  found=("${(@f)$(tavro complete "${words_before[@]}" 2>/dev/null | cut -f1)}")
  [[ $PREFIX == -* ]] || found=("${(@)found:#-*}")
  compadd -- "${(@)found:#}" || _files
}
if [ "$funcstack[1]" = _tavro ]; then _tavro "$@"; else compdef _tavro tavro; fi
)";

constexpr const char* fish = R"(function __tavro_candidates
  set -l hidden '^-'
  string match -q -- '-*' (commandline -ct); and set hidden '^$'
  tavro complete (commandline -opc)[2..-1] 2>/dev/null | string match -rv $hidden
end
complete -c tavro -f -a '(__tavro_candidates)'
complete -c tavro -F -n 'string match -q -- --file (commandline -opc)[-1]'
)";

ExitStatus print(const std::string& shell) {
  static const std::map<std::string, const char*> scripts = {{"bash", bash}, {"zsh", zsh}, {"fish", fish}};
  const auto script = scripts.find(shell);
  if (script == scripts.end()) Usage::unknown("shell", shell, {"bash", "zsh", "fish"});
  Terminal::print(script->second);
  return ExitStatus::done;
}

/// A line a candidate: the word and its description, parted by a tab. A word that a shell couldn't take as one line is
/// left out.
ExitStatus offer(const std::vector<std::string>& words) {
  constexpr std::size_t widest = 60;
  std::string text;
  for (const auto& [word, description] : Candidates::after(words)) {
    if (Display::harmless(word) == word)
      text += word + "\t" + Display::clipped(Display::harmless(description), widest) + "\n";
  }
  Terminal::print(text);
  return ExitStatus::done;
}

}  // namespace

namespace CompletionVerb {

Work completion(CLI::App& command) {
  auto shell = std::make_shared<std::string>();
  command.add_option("SHELL", *shell, "bash, zsh or fish")->required();
  return [shell] { return print(*shell); };
}

Work complete(CLI::App& command) {
  command.prefix_command();  // the words are the person's, half a command line
  return [&command] { return offer(command.remaining()); };
}

}  // namespace CompletionVerb
