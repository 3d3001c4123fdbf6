// The store of automations, and what can be done with one. It keeps nothing in memory: servers, the owner's command and
// the runs of the timers share the files (LoopFiles.h), so every call reads them again.
//
// Every operation that takes a name treats one that `add` would refuse as no such automation, before it forms a path;
// what gives a path then gives the empty one.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Error.h"
#include "Platform/JsonNames.h"
#include "TavroCore/automations/Automation.h"
#include "TavroCore/automations/AutomationDraft.h"

class EngineError : public Error {
 public:
  static EngineError noSuchLoop(const std::string& name);     // "no such automation: <name>"
  static EngineError alreadyExists(const std::string& name);  // "automation '<name>' already exists (use edit)"
  static EngineError notRunning(const std::string& name);     // "'<name>' is not running"
  static EngineError failed(const std::string& text);

 private:
  using Error::Error;
};

namespace VendryEngine {

// ---- The store.

std::filesystem::path home();
std::filesystem::path automationsDir();
std::filesystem::path logURL(std::string_view name);

/// Makes the directories, after the migration of an older installation. Failures are passed over.
void ensureLayout() noexcept;

/// By name. Passed over are records that can't be read, and those in a directory of another name: it was copied or
/// renamed by hand, and its record still means the other loop.
std::vector<Automation> list();
/// The automation of a loop.json; nothing for anything but an object with a name that `add` would take.
std::optional<Automation> read(const std::filesystem::path& url);
/// The one of that name.
std::optional<Automation> find(std::string_view name);
std::optional<Json> rawObject(std::string_view name);

/// Throws EngineError (also for a name that can't be one, with the rule of names) and FileFailure; what was written by
/// then stays.
void add(const AutomationDraft& draft);
/// A paused loop stays paused, whatever the draft says. Throws as `add`.
void edit(const AutomationDraft& draft);
/// Throws EngineError where there is no such loop, or its state can't be written (its timer is then as it was), and
/// FileFailure where the timer's property list can't be.
void setEnabled(const std::string& name, bool enabled);
/// Leaves a run in progress alone, and the logs. Throws EngineError::noSuchLoop; what can't be removed is passed over.
void remove(const std::string& name);

// ---- Runs.

/// Starts a run that doesn't depend on us, of a paused loop too. Throws EngineError where there is no such loop or no
/// `tavro`, and Process::LaunchFailure.
void runNow(const std::string& name);
/// Ends a run in progress: its session, else its process and the children of that. Throws EngineError::notRunning where
/// there is none.
void stop(const std::string& name);
/// Opens a terminal on the session of a run in the background. Throws EngineError where there is none, or the terminal
/// can't be opened; FileFailure and Process::LaunchFailure.
void attach(const std::string& name);

std::filesystem::path tmuxSocket();
std::optional<std::string> tmuxPath();
/// Runs tmux on that socket, its outputs discarded, to its end. The exit status; -1 when it can't be started.
int tmux(const std::vector<std::string>& args);
/// Is there a session of exactly this name? tmux's own targets also match prefixes and patterns.
bool hasSession(const std::string& name);

/// The `tavro` that timers and runs start: ourselves, or the one of our bundle.
std::filesystem::path tavroBinaryForLaunchd();

// ---- Timers: each enabled loop has a launchd agent, whose property list starts `tavro auto-run <name>`.

std::filesystem::path plistURL(std::string_view name);
/// Throws EngineError::noSuchLoop, FileFailure.
void writePlist(const Automation& automation);
void loadAgent(const std::string& name);    // failures are passed over
void unloadAgent(const std::string& name);  // failures are passed over
/// Does launchd know the loop's agent?
bool isAgentLoaded(const std::string& name);
/// Gives an enabled loop its agent, and takes it from a paused one. Throws EngineError, FileFailure; whether launchd
/// took the agent is told by isAgentLoaded.
void syncOne(const std::string& name);
/// Of all loops; failures are passed over.
void syncAll();
/// Takes the agents of loops of this home whose records are gone, a directory renamed by hand for instance, and would
/// start for ever what isn't there. Gives their names.
std::vector<std::string> removeOrphans();
/// Keeps a loop of the program's own in place, whatever was done to it, but for its schedule. Failures are passed over.
void ensureSystemLoop(const std::string& name, const std::string& tool, long long everyMinutes);
/// After the command or the home has moved: gives all loops their agents again. True when there was need.
bool resyncIfRelocated();

// ---- For the runner.

/// Adds what a run left to the loop's state, unless the loop has been removed meanwhile. A failure is passed over.
void writeRunState(const std::string& name, int exitCode) noexcept;

}  // namespace VendryEngine
