#include "TavroCore/automations/LoopFiles.h"

#include "Platform/Environment.h"
#include "TavroCore/harness/ConfigDir.h"

std::filesystem::path LoopFiles::automations() { return ConfigDir::url() / "automations"; }
std::filesystem::path LoopFiles::runtime() { return ConfigDir::url() / ".runtime"; }
std::filesystem::path LoopFiles::launchAgents() { return Environment::home() / "Library/LaunchAgents"; }

LoopFiles::LoopFiles(std::string_view loop) : name(loop) {
  directory = automations() / name;
  record = directory / "loop.json";
  agent = directory / "AGENT.md";
  state = runtime() / "state" / (name + ".json");
  log = runtime() / "logs" / (name + ".log");
  launchdLog = runtime() / "logs" / (name + ".launchd.log");
  const auto run = runtime() / "run";
  lock = run / (name + ".lock.d");
  doneMarker = run / (name + ".done");
  prompt = run / (name + ".prompt");
  innerScript = run / (name + ".run.sh");
  failTail = run / (name + ".failtail.txt");
  plist = launchAgents() / (std::string(labelHead) + name + ".plist");
}
