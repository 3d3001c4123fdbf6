#include "TavroCore/automations/ClientCommand.h"

#include <map>

namespace ClientCommand {

namespace {

using Words = std::vector<std::string>;

constexpr const char* operationalContext =
    "OPERATIONAL CONTEXT (vendry): you are running as a scheduled, unsupervised session. When your task is done, "
    "signal it with the `tavro auto-done` command - the vendry supervisor will close the session from the outside. Do "
    "not kill any process and do not close the window yourself.";

Words operator+(Words words, const Words& more) {
  words.insert(words.end(), more.begin(), more.end());
  return words;
}

Words when(bool condition, const Words& words) { return condition ? words : Words(); }

Words model(const LoopRun& run) { return when(!run.model.empty(), {"--model", run.model}); }

/// Loops keep a model of claude's when they change to codex, which knows none of them.
Words codex(const LoopRun& run, Place) {
  return Words{"codex", "exec", "--dangerously-bypass-approvals-and-sandbox", "-C", run.cwd} +
         when(!run.model.starts_with("claude-"), model(run)) + Words{"-"};
}

Words agy(const LoopRun& run, Place) {
  return Words{"agy", "--print", "--dangerously-skip-permissions", "--print-timeout",
               std::to_string(run.timeLimit) + "s"} +
         model(run);
}

Words grok(const LoopRun& run, Place) {
  return Words{"grok", std::string(prompt), "--no-alt-screen", "--always-approve", "--cwd", run.cwd} + model(run);
}

Words claude(const LoopRun& run, Place place) {
  const bool skips = run.isDangerous || run.model.find("haiku") != std::string::npos;  // haiku has no mode "auto"
  return Words{"claude", "--model", run.model} +
         (skips ? Words{"--dangerously-skip-permissions"} : Words{"--permission-mode", "auto"}) +
         when(run.effort.has_value(), {"--effort", run.effort.value_or("")}) +
         when(place == Place::session, {"--append-system-prompt", operationalContext});
}

}  // namespace

std::vector<std::string> of(const LoopRun& run, Place place) {
  static const std::map<std::string_view, Words (*)(const LoopRun&, Place)> clients = {
      {"claude", claude}, {"codex", codex}, {"agy", agy}, {"grok", grok}};
  const auto known = clients.find(run.client);
  return (known == clients.end() ? claude : known->second)(run, place);
}

}  // namespace ClientCommand
