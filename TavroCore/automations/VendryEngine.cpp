// The store: records, prompts and states on disk.
#include "TavroCore/automations/VendryEngine.h"

#include "Platform/Files.h"
#include "Platform/Json.h"
#include "Platform/Text.h"
#include "TavroCore/automations/LoopStore.h"
#include "TavroCore/automations/RunLock.h"
#include "TavroCore/harness/ConfigDir.h"
#include "TavroCore/harness/RecordFields.h"
#include "TavroCore/harness/TavroMigration.h"
#include "TavroCore/harness/Timestamps.h"

EngineError EngineError::noSuchLoop(const std::string& name) { return EngineError("no such automation: " + name); }
EngineError EngineError::alreadyExists(const std::string& name) {
  return EngineError("automation '" + name + "' already exists (use edit)");
}
EngineError EngineError::notRunning(const std::string& name) { return EngineError("'" + name + "' is not running"); }
EngineError EngineError::failed(const std::string& text) { return EngineError(text); }

namespace VendryEngine {
namespace {

using LoopStore::attempt;

constexpr const char* ruleOfNames =
    "an automation's name has at most 100 bytes, begins with a letter or digit, goes on with letters, digits, blanks, "
    "'-' and '_', and doesn't end in a blank";

/// A tool is stored as the command that runs it, and known again by it.
Automation::Kind kindOf(const Json& record, const std::string& command) {
  if (RecordFields::text(record, "kind") != "script") return Automation::Kind::agent;
  const auto holds = [&](const char* words) { return command.find(words) != std::string::npos; };
  return holds(" run ") && holds("tavro") ? Automation::Kind::tool : Automation::Kind::script;
}

std::optional<std::string> writtenPrompt(const LoopFiles& files) {
  auto bytes = Files::readIfPossible(files.agent);
  return bytes ? Text::decodeUTF8(std::move(*bytes)) : std::nullopt;
}

std::optional<std::string> promptOf(const Json& record, const LoopFiles& files) {
  auto prompt = writtenPrompt(files);
  return prompt ? prompt : RecordFields::text(record, "prompt");
}

void addRecord(const Json& record, Automation& loop) {
  loop.command = RecordFields::text(record, "command");
  loop.kind = kindOf(record, loop.command.value_or(""));
  loop.schedule = scheduleFromJson(RecordFields::value(record, "schedule"));
  loop.model = RecordFields::text(record, "model");
  loop.client = RecordFields::text(record, "client").value_or(loop.client);
  loop.effort = RecordFields::text(record, "effort");
  loop.cwd = RecordFields::text(record, "cwd");
  loop.visible = RecordFields::boolean(record, "visible").value_or(loop.visible);
  loop.screen = RecordFields::integer(record, "screen");
  loop.notifyOnFail = RecordFields::boolean(record, "notifyOnFail").value_or(loop.notifyOnFail);
  loop.isSystem = RecordFields::boolean(record, "system").value_or(loop.isSystem);
  loop.enabled = RecordFields::boolean(record, "enabled").value_or(loop.enabled);
}

void addState(const Json& state, Automation& loop) {
  loop.enabled = RecordFields::boolean(state, "enabled").value_or(loop.enabled);
  loop.lastExit = RecordFields::integer(state, "lastExit");
  if (const auto ended = RecordFields::text(state, "lastRun")) loop.lastRun = Timestamps::parseISO8601(*ended);
}

/// A pause that isn't written down is none, and its timer would fire on.
void putEnabled(const LoopFiles& files, bool enabled) {
  LoopStore::writeEnabled(files, enabled);
  const auto loop = VendryEngine::find(files.name);
  if (!loop || loop->enabled == enabled) return;
  throw EngineError::failed("'" + files.name + "' could not be " + (enabled ? "enabled" : "disabled") + ": " +
                            files.state.string() + " can't be written");
}

bool isPauseKnown(const LoopFiles& files) {
  return RecordFields::boolean(LoopStore::object(files.state).value_or(Json()), "enabled").has_value();
}

/// An older record's pause and prompt move to where they belong by now. What can't be written there stays in the
/// record.
void moveOut(const Json& older, const LoopFiles& files, const AutomationDraft& draft, Json& edited) {
  const bool isPaused = RecordFields::boolean(older, "enabled") == false && !isPauseKnown(files);
  if (isPaused) LoopStore::writeEnabled(files, false);
  if (isPaused && !isPauseKnown(files)) edited["enabled"] = false;
  const auto prompt = RecordFields::text(older, "prompt");
  if (prompt && draft.agentPrompt() && !writtenPrompt(files)) edited["prompt"] = *prompt;
}

}  // namespace

std::filesystem::path home() { return ConfigDir::url(); }
std::filesystem::path automationsDir() { return LoopFiles::automations(); }

std::filesystem::path logURL(std::string_view name) {
  const auto files = LoopStore::named(name);
  return files ? files->log : std::filesystem::path();
}

void ensureLayout() noexcept {
  TavroMigration::runIfNeeded();
  for (const char* part : {"logs", "run", "state"})
    attempt([&] { Files::createDirectories(LoopFiles::runtime() / part); });
  attempt([] { Files::createDirectories(LoopFiles::automations()); });
  attempt([] { Files::createDirectories(LoopFiles::launchAgents()); });
}

std::vector<Automation> list() {
  ensureLayout();
  std::vector<Automation> loops;
  for (const std::string& name : Files::listIfPossible(automationsDir())) {
    if (auto loop = find(name)) loops.push_back(std::move(*loop));
  }
  return loops;  // sorted by their directories, which are their names
}

std::optional<Automation> read(const std::filesystem::path& url) {
  const auto record = LoopStore::object(url);
  const auto name = record ? RecordFields::text(*record, "name") : std::nullopt;
  const auto files = name ? LoopStore::named(*name) : std::nullopt;
  if (!files) return std::nullopt;
  Automation loop;
  loop.name = *name;
  addRecord(*record, loop);
  loop.prompt = promptOf(*record, *files);
  loop.running = RunLock::liveHolder(*files).has_value();
  if (const auto state = LoopStore::object(files->state)) addState(*state, loop);
  return loop;
}

std::optional<Automation> find(std::string_view name) {
  const auto files = LoopStore::named(name);
  auto loop = files ? read(files->record) : std::nullopt;
  // A directory that was copied or renamed by hand still speaks of the other loop.
  return loop && loop->name == name ? loop : std::nullopt;
}

std::optional<Json> rawObject(std::string_view name) {
  const auto files = LoopStore::named(name);
  return files ? LoopStore::object(files->record) : std::nullopt;
}

void add(const AutomationDraft& draft) {
  const auto files = LoopStore::named(draft.name);
  if (!files) throw EngineError::failed(ruleOfNames);
  ensureLayout();
  if (!LoopStore::createRecord(*files, draft.addObject())) throw EngineError::alreadyExists(draft.name);
  LoopStore::writePrompt(*files, draft.agentPrompt());
  try {
    putEnabled(*files, draft.enabled);
  } catch (const EngineError&) {  // it would run, and was to be paused
    attempt([&] { Files::remove(files->record); });
    throw;
  }
  syncOne(draft.name);
}

void edit(const AutomationDraft& draft) {
  const auto record = rawObject(draft.name);
  if (!record) throw EngineError::noSuchLoop(draft.name);
  const LoopFiles files(draft.name);
  LoopStore::writePrompt(files, draft.agentPrompt());
  Json edited = draft.applied(*record);
  moveOut(*record, files, draft, edited);
  LoopStore::writeRecord(files, edited);
  syncOne(draft.name);
}

void setEnabled(const std::string& name, bool enabled) {
  putEnabled(LoopStore::existing(name), enabled);
  syncOne(name);
}

void remove(const std::string& name) {
  const auto files = LoopStore::existing(name);
  unloadAgent(name);
  for (const auto& path : {files.directory, files.plist, files.state}) attempt([&] { Files::remove(path); });
}

void ensureSystemLoop(const std::string& name, const std::string& tool, long long everyMinutes) {
  const auto files = LoopStore::named(name);
  if (!files) return;
  ensureLayout();
  const auto stored = rawObject(name);
  const AutomationDraft draft{.name = name,
                              .work = AutomationDraft::Tool{.tool = tool, .args = "", .notifyOnFail = true},
                              .schedule = {Schedule::Interval{everyMinutes}}};
  Json record = stored ? *stored : draft.addObject();
  record["command"] = AutomationDraft::toolCommand(tool, "");
  record["system"] = true;
  record["notifyOnFail"] = true;
  if (stored == record) return;
  attempt([&] { LoopStore::writeRecord(*files, record); });
  if (!stored) LoopStore::writeEnabled(*files, true);
  attempt([&] { syncOne(name); });
}

void writeRunState(const std::string& name, int exitCode) noexcept {
  const auto files = LoopStore::named(name);
  // A loop that was removed during its run leaves nothing to the next one of its name.
  if (!files || !Files::exists(files->record)) return;
  LoopStore::changeState(*files, [&](Json& state) {
    state["lastRun"] = Timestamps::now();
    state["lastExit"] = exitCode;
  });
}

}  // namespace VendryEngine
