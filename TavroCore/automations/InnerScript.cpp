#include "TavroCore/automations/InnerScript.h"

#include <fmt/format.h>

#include <algorithm>

#include "Platform/Files.h"
#include "Platform/Text.h"
#include "TavroCore/automations/ClientCommand.h"
#include "TavroCore/automations/PlainText.h"
#include "TavroCore/automations/ShellText.h"

namespace InnerScript {

namespace {

/// For the inside of double quotes: a client's id stands in the record, which anybody may have edited.
std::string harmless(std::string id) {
  std::ranges::replace_if(
      id, [](char byte) { return !PlainText::isPlain(byte, ".-_"); }, '_');
  return id;
}

std::string clientLine(const LoopRun& run) {
  const std::string prompt = ShellText::quoted(run.files.prompt.native());
  auto words = ClientCommand::of(run, ClientCommand::Place::session);
  bool isArgument = false;
  for (std::string& word : words) {
    const bool isPrompt = word == ClientCommand::prompt;
    isArgument = isArgument || isPrompt;
    word = isPrompt ? "\"$(cat " + prompt + ")\"" : ShellText::quoted(word);
  }
  return (isArgument ? "" : "cat " + prompt + " | ") + Text::join(words, " ");
}

}  // namespace

std::string text(const LoopRun& run) {
  const auto& files = run.files;
  return fmt::format(R"(#!/bin/bash
export PATH={path}
export VENDRY_DONE={marker}
export VENDRY_RUN={quotedName}
cd {cwd}
echo "===== vendry: {name} @ $(date '+%F %T') (client={client}) =====" >> {log}
{line}
ec=$?
echo "===== vendry: {name} done (exit $ec) =====" >> {log}
[ -f {marker} ] || printf '%s' "$ec" > {marker}
)",
                     fmt::arg("path", ShellText::quoted(run.searchPath)),
                     fmt::arg("marker", ShellText::quoted(files.doneMarker.native())),
                     fmt::arg("quotedName", ShellText::quoted(files.name)), fmt::arg("cwd", ShellText::quoted(run.cwd)),
                     fmt::arg("name", files.name), fmt::arg("client", harmless(run.client)),
                     fmt::arg("log", ShellText::quoted(files.log.native())), fmt::arg("line", clientLine(run)));
}

void write(const LoopRun& run) {
  constexpr mode_t runnable = 0755;
  Files::replace(run.files.innerScript, text(run), runnable);
  Files::setMode(run.files.innerScript, runnable);  // whatever the umask takes
}

}  // namespace InnerScript
